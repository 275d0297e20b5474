// plu_debug: the operator's client of the debug channel.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "tools/plu_debug/interrupt.h"
#include "tools/plu_debug/options.h"
#include "tools/plu_debug/output.h"
#include "tools/plu_debug/readline_editor.h"
#include "tools/plu_debug/runner.h"
#include "tools/plu_debug/shell.h"

namespace client {
namespace {

// A prompt needs a terminal, too.
bool on_a_terminal() {
    return isatty(STDIN_FILENO) == 1 && (isatty(STDOUT_FILENO) == 1 || isatty(STDERR_FILENO) == 1);
}

exit_status run_interactively(options chosen, output &terminal) {
    chosen.interactive = true;
    const std::unique_ptr<line_editor> editor = make_readline_editor();
    return run_shell(chosen, *editor, terminal);
}

int run(const std::vector<std::string> &words) {
    std::string error;
    const options chosen = parse_options(words, error);
    output out(STDOUT_FILENO);
    if (!error.empty()) {
        return runner(chosen, out).reject(error);
    }
    const bool interactive = chosen.words.empty() && chosen.file.empty() && on_a_terminal();
    interrupts_install();
    const exit_status status = interactive && !chosen.repeat_given && !chosen.interval_given
                                   ? run_interactively(chosen, out)
                                   : runner(chosen, out).run();
    out.flush();
    if (out.error() != 0 && out.error() != EPIPE) {
        notice(std::string("cannot write the output: ") + std::strerror(out.error()));
        return status == status_done ? status_findings : status;
    }
    return status;
}

}    // namespace
}    // namespace client

int main(int argc, char **argv) {
    try {
        return client::run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception &error) {
        client::notice(error.what());
        return client::status_no_answer;
    }
}
