#include "tools/plu_debug/shell.h"

#include <unistd.h>

#include "tools/plu_debug/command_line.h"
#include "tools/plu_debug/completion.h"
#include "tools/plu_debug/history_file.h"
#include "tools/plu_debug/interrupt.h"
#include "tools/plu_debug/pager.h"
#include "tools/plu_debug/runner.h"
#include "tools/plu_debug/terminal.h"

namespace client {
namespace {

class shell {
public:
    shell(const options &chosen, line_editor &editor, output &terminal)
        : chosen_(chosen),
          editor_(editor),
          terminal_(terminal),
          screen_(terminal, isatty(STDOUT_FILENO) == 1, !chosen.json),
          out_(screen_),
          commands_(chosen, out_),
          history_(history_path()) {}

    exit_status run();

private:
    void prepare();
    void show(const std::string &text);
    void remember(const std::string &line);
    void run_line(const std::string &line);
    [[nodiscard]] bool must_leave() const;

    const options &chosen_;
    line_editor &editor_;
    output &terminal_;
    pager screen_;
    output out_;
    runner commands_;
    history_file history_;
    std::string last_;
};

void shell::show(const std::string &text) {
    screen_.start();
    out_.write(text);
    out_.flush();
    screen_.finish();
    if (screen_.quit()) {
        interrupts_reset();
    }
}

void shell::remember(const std::string &line) {
    if (line != last_) {
        editor_.remember(line);
        history_.append(line);
    }
    last_ = line;
}

void shell::prepare() {
    for (const std::string &line : history_.load()) {
        editor_.remember(line);
        last_ = line;
    }
    editor_.raw = chosen_.raw;
    editor_.show = [this](const std::string &text) { show(text); };
    if (!chosen_.json) {
        show("plu_debug " PLU_VERSION
             ": '?' shows what can stand here, 'help' explains, Ctrl-D leaves.\n");
    }
}

void shell::run_line(const std::string &line) {
    const quiet_keys keys(STDIN_FILENO, false);
    screen_.start();
    (void)commands_.run_alone(line);
    out_.flush();
    screen_.finish();
    if (interrupts_seen() > 0 && !screen_.quit()) {
        notice("interrupted");
    }
}

bool shell::must_leave() const {
    return termination_seen() || interrupts_seen() > 1 || terminal_.error() != 0;
}

exit_status shell::run() {
    prepare();
    const std::string prompt = chosen_.read_only ? "plu_debug (read-only)> " : "plu_debug> ";
    for (;;) {
        interrupts_reset();
        std::string line;
        switch (editor_.read(prompt, line)) {
            case line_editor::event::end:
                return status_done;
            case line_editor::event::terminated:
                return status_interrupted;
            case line_editor::event::cleared:
                continue;
            case line_editor::event::line:
                break;
        }
        const typed_line typed = parse_line(line);
        if (typed.words.empty() && typed.error.empty()) {
            continue;
        }
        remember(line);
        if (typed.words.size() == 1 && is_shell_word(typed.words[0])) {
            return status_done;
        }
        run_line(line);
        if (must_leave()) {
            return status_interrupted;
        }
    }
}

}    // namespace

exit_status run_shell(const options &chosen, line_editor &editor, output &terminal) {
    return shell(chosen, editor, terminal).run();
}

}    // namespace client
