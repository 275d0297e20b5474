// What can stand at the end of a line that is being typed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace client {

struct candidate {
    std::string word;    // a word to type, or the name of a value such as PREFIX
    std::string meaning;
    bool literal = false;           // the word itself can be typed
    const char *value = nullptr;    // what follows it
};

struct completion_set {
    std::string typed;                    // the part of the word that is there already
    std::vector<candidate> candidates;    // literal ones all begin with it
    bool file = false;                    // a file's name can stand here
    bool pattern = false;                 // inside an expression of a filter
};

/// What the table and the filters allow behind `line`, which ends at the cursor. With `raw` the
/// names and plain numbers alone.
completion_set complete(std::string_view line, bool raw = false);

/// A line per candidate, for people.
std::string candidate_lines(const completion_set &set);

}    // namespace client
