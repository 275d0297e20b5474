// plu_debug: the operator's client of the debug channel.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "client/base/interrupt.h"
#include "client/base/output.h"
#include "client/shell/runner.h"
#include "client/shell/shell.h"
#include "client/words/options.h"

namespace client {
namespace {

// A prompt needs a terminal, too.
bool on_a_terminal() {
    return isatty(STDIN_FILENO) == 1 && (isatty(STDOUT_FILENO) == 1 || isatty(STDERR_FILENO) == 1);
}

exit_status run_interactively(options chosen, output &terminal) {
    chosen.interactive = true;
    return run_shell(chosen, terminal);
}

// A file of the client's own must not take the place of a standard descriptor that the caller
// closed. What stands there instead fails when it is used, as a closed one would.
void fill_standard_descriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            (void)open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

int run(const std::vector<std::string> &words) {
    std::string error;
    const options chosen = parse_options(words, error);
    output out(STDOUT_FILENO);
    if (!error.empty()) {
        return runner(chosen, out).reject(error);
    }
    const bool interactive = chosen.words.empty() && chosen.file.empty() && on_a_terminal();
    const exit_status status = interactive && !chosen.repeat_given && !chosen.interval_given
                                   ? run_interactively(chosen, out)
                                   : runner(chosen, out).run();
    out.flush();
    if (out.error() != 0 && out.error() != EPIPE) {
        notice(std::string("cannot write the output: ") + std::strerror(out.error()));
        return std::max(status, status_usage);
    }
    return status;
}

}    // namespace
}    // namespace client

int main(int argc, char **argv) {
    client::fill_standard_descriptors();
    client::interrupts_install();
    try {
        return client::run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception &error) {
        client::notice(error.what());
        return client::status_no_answer;
    }
}
