// plu_debug: the operator's client of the debug channel.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "tools/plu_debug/arguments.h"
#include "tools/plu_debug/help.h"
#include "tools/plu_debug/interrupt.h"
#include "tools/plu_debug/options.h"
#include "tools/plu_debug/output.h"
#include "tools/plu_debug/text_reply.h"

namespace client {
namespace {

int show_help(const std::vector<std::string> &words, output &out) {
    if (words.size() < 2) {
        out.write(help_text());
        return status_done;
    }
    const std::string text = command_help(words[1]);
    if (text.empty()) {
        notice(parse_command({words[1]}).error);
        return status_usage;
    }
    out.write(text);
    return status_done;
}

int run_words(const options &chosen, output &out) {
    if (same_word(chosen.words[0], "help") && !chosen.raw) {
        return show_help(chosen.words, out);
    }
    const parsed_command command = parse_command(chosen.words, chosen.raw);
    if (!command.error.empty()) {
        notice(command.error);
        return status_usage;
    }
    for (const std::string &note : command.notes) {
        notice("note: " + note);
    }
    return run_as_text(command, chosen, out);
}

int run(const std::vector<std::string> &words) {
    std::string error;
    const options chosen = parse_options(words, error);
    output out(STDOUT_FILENO);
    if (!error.empty()) {
        notice(error);
        return status_usage;
    }
    if (chosen.version) {
        out.write("plu_debug " PLU_VERSION "\n");
        return status_done;
    }
    if (chosen.help) {
        return show_help({}, out);
    }
    if (chosen.words.empty()) {
        notice("a command is missing; 'plu_debug --help' tells more");
        return status_usage;
    }
    interrupts_install();
    const int status = run_words(chosen, out);
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
