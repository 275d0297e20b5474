// The numbers in the replies' summaries, by name: what machine output carries and what a verdict
// rests on.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace client {

struct counter_row {
    const char *command;
    const char *key;     // name in machine output
    const char *line;    // how its line starts; how it ends when the number leads the line
    const char
        *label;       // what stands right before the numbers; null when the number leads the line
    int index = 0;    // which of the numbers behind the label
    bool bad = false;    // anything but 0 speaks against the card
};

std::span<const counter_row> all_counters();

/// True when the command's reply holds the counter: its own, or that of a check it runs.
bool has_counter(std::string_view command, const counter_row &row);

/// Finds the counter's number in a line. False when the line is another one.
bool read_counter(const counter_row &row, std::string_view line, int64_t &number);

}    // namespace client
