#include "client/shell/shell.h"

#include <unistd.h>

#include "client/base/interrupt.h"
#include "client/base/terminal.h"
#include "client/shell/line_editor.h"
#include "client/shell/pager.h"
#include "client/shell/runner.h"
#include "client/words/command_line.h"

namespace client {
namespace {

class shell {
public:
    shell(const options &chosen, output &terminal)
        : chosen_(chosen),
          terminal_(terminal),
          screen_(terminal, isatty(STDOUT_FILENO) == 1, !chosen.json),
          out_(screen_),
          commands_(chosen, out_),
          editor_(chosen.raw, [this](const std::string &text) { show(text); }) {}

    exit_status run();

private:
    void show(const std::string &text);
    void run_line(const typed_line &typed);
    [[nodiscard]] bool must_leave() const;

    const options &chosen_;
    output &terminal_;
    pager screen_;
    output out_;
    runner commands_;
    line_editor editor_;
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

void shell::run_line(const typed_line &typed) {
    const quiet_keys keys(STDIN_FILENO, false);
    screen_.start();
    (void)commands_.run_alone(typed);
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
    if (!chosen_.json) {
        show("plu_debug " PLU_VERSION
             ": '?' shows what can stand here, 'help' explains, Ctrl-D leaves.\n");
    }
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
        editor_.remember(line);
        if (is_leaving(typed)) {
            return status_done;
        }
        run_line(typed);
        if (must_leave()) {
            return status_interrupted;
        }
    }
}

}    // namespace

exit_status run_shell(const options &chosen, output &terminal) {
    return shell(chosen, terminal).run();
}

}    // namespace client
