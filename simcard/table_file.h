// Prefix tables as text, a line each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "simcard/card.h"

namespace simcard {

/// One table line. `nothing` is a blank line or a comment.
struct TableLine {
    enum Kind { nothing, prefix, bad } kind;
    pfx_entry entry;
    const char *problem;    // why a bad line is bad
};
TableLine parse_table_line(std::string_view line);

struct TableReport {
    bool opened = false;
    size_t prefixes = 0;
    size_t bad_lines = 0;
};

/// Appends a file's prefixes to `entries`. The first bad lines are named on standard error with
/// their numbers; all are counted and skipped.
TableReport read_table(const std::string &file, std::vector<pfx_entry> &entries);

}    // namespace simcard
