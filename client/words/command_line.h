// One line as the operator types it: the words of a command, and the filters its reply goes
// through.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace client {

enum class filter_kind { include, exclude, count };

struct filter_row {
    const char *name;
    const char *value;    // what follows it; null for a bare word
    const char *meaning;
    filter_kind kind;
};

std::span<const filter_row> all_filters();

/// The filter of a name or of its first letters; null when there is none.
const filter_row *find_filter(std::string_view word);

struct line_word {
    std::string text;
    bool pipe = false;    // a '|' that begins a filter
    size_t end = 0;       // where it ends in the line
};

struct line_words {
    std::vector<line_word> words;
    bool comment = false;       // the line ends in a comment
    bool open_quote = false;    // a quote is not closed
};

/// Words stand between blanks or inside quotes; a '#' at the start of a word begins a comment. In
/// the command every '|' begins a filter, behind that only one at the start of a word.
line_words split_line(std::string_view line);

struct filter_request {
    filter_kind kind;
    std::string pattern;
};

struct typed_line {
    std::vector<std::string> words;
    std::vector<filter_request> filters;
    std::string error;    // quotes what is wrong; nothing may be sent
};

/// An empty or commented line has neither words nor an error.
typed_line parse_line(std::string_view line);

}    // namespace client
