// The table of forms: every line that the process can send.
#pragma once

#include <array>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "client/replies/reply_record.h"

namespace client {

std::span<const form> all_forms();

/// Finds the form of each line of one command's replies.
class line_recogniser {
public:
    /// `command` is a name of the table, in small letters; "*" stands for all commands at once.
    explicit line_recogniser(std::string_view command);

    /// False when the line has no form. `record` points into the line.
    bool recognise(std::string_view line, reply_record &record) const;

    /// A line that another one broke into: the head of a form that the process sends piece by
    /// piece, and behind it a whole line. True when it is one; `place` is where the second begins.
    bool recognise_broken(std::string_view line, reply_record &head, reply_record &second,
                          size_t &place) const;

private:
    std::array<std::vector<const form *>, 256> by_first_{};
};

}    // namespace client
