// The client's own options; everything after them is the command.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "client/channel/exchange.h"

namespace client {

struct options {
    time_limits limits;
    const char *instead = nullptr;    // the local command that --help or --version stands for
    bool raw = false;          // send name and numbers as they are, also names that the table lacks
    bool read_only = false;    // refuse what changes the card
    bool json = false;
    bool json_lines = false;     // as JSON, but the lines of the reply as they are
    bool yes = false;            // deletes default routes without a question
    uint64_t line_limit = 0;     // lines that are shown of each reply; 0 for all
    bool keep_going = false;     // with a file: go on after a failure
    bool interactive = false;    // commands come from a terminal, line by line
    std::string file;            // one command a line; "-" for standard input
    uint64_t repeat = 1;         // how often; 0 for ever
    milliseconds interval{1000};
    bool repeat_given = false;
    bool interval_given = false;
    std::vector<std::string> words;
};

/// One option: drives parsing, help, completion and the manual.
struct option_row {
    const char *short_name;    // null without one
    const char *long_name;
    const char *value;    // what follows it; null for a flag
    const char *help;
    bool (*set)(options &, const std::string &);    // false when the value does not fit
};

std::span<const option_row> all_options();

/// Options may stand before, between and behind the words of the command. `error` says what is
/// wrong and quotes the first bad word; empty when all is well.
options parse_options(const std::vector<std::string> &words, std::string &error);

}    // namespace client
