#include "client/shell/caution.h"

#include <unistd.h>

#include <algorithm>

#include "client/answers/quiet_run.h"
#include "client/base/interrupt.h"
#include "client/base/terminal.h"

namespace client {
namespace {

constexpr int64_t many_lines = 1000000;
constexpr uint64_t length_factor = 1000;    // what a request adds to a prefix length

const command *row_of(const parsed_command &command) {
    return command.row != nullptr ? command.row : find_command(command.request.name);
}

bool interrupt_seen() {
    return interrupts_seen() > 0;
}

bool deletes_default_route(const plu_debug_request &request) {
    return (same_word(request.name, "delv4") && request.a2 % length_factor == 0) ||
           (same_word(request.name, "delv6") && request.a3 % length_factor == 0);
}

std::string default_route_text(const plu_debug_request &request) {
    const bool v4 = same_word(request.name, "delv4");
    return std::string(v4 ? "the IPv4" : "the IPv6") + " default route of VRF " +
           std::to_string(v4 ? request.a3 : request.a3 / length_factor);
}

bool answers_yes(const std::string &question) {
    const quiet_keys keys(STDIN_FILENO, true);    // before the question: an answer may come at once
    const std::string text = "plu_debug: " + question + " (y/N) ";
    (void)!write(STDERR_FILENO, text.data(), text.size());
    const int key = read_key(STDIN_FILENO, interrupt_seen);
    const bool yes = key == 'y' || key == 'Y';
    (void)!write(STDERR_FILENO, yes ? "y\n" : "n\n", 2);
    return yes;
}

// Each of these lists every prefix.
bool lists_all(const plu_debug_request &request) {
    return (same_word(request.name, "walk") && request.a1 != 0) ||
           ((same_word(request.name, "cklkup") || same_word(request.name, "cklkuphw") ||
             same_word(request.name, "ckall")) &&
            request.a2 != 0);
}

int64_t prefixes_on_card(const time_limits &limits) {
    return run_quietly("walk", 0, limits).judge.counter("dumpable_leaves");
}

}    // namespace

bool may_change(const parsed_command &command) {
    const client::command *row = row_of(command);
    return row != nullptr ? row->changes_state : !is_listing(command.request.name);
}

std::string read_only_objection(const parsed_command &command) {
    const std::string name = "'" + std::string(command.request.name) + "'";
    if (!may_change(command)) {
        return {};
    }
    return row_of(command) == nullptr
               ? name + " is unknown, and --read-only sends nothing unknown"
               : name + " changes the card's state, which --read-only refuses";
}

bool confirmed(const parsed_command &command, const options &chosen) {
    if (chosen.yes || !deletes_default_route(command.request)) {
        return true;
    }
    const bool terminal = isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
    return !terminal || answers_yes("delete " + default_route_text(command.request) + "?");
}

void warn_of_length(const parsed_command &command, const options &chosen) {
    if (!lists_all(command.request) || chosen.line_limit > 0 || isatty(STDOUT_FILENO) != 1) {
        return;
    }
    const int64_t lines = prefixes_on_card(chosen.limits);
    if (lines > many_lines) {
        notice("note: a reply of more than " + std::to_string(lines) +
               " lines follows; --limit N shows the first ones, Ctrl-C ends it");
    }
}

}    // namespace client
