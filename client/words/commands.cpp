#include "client/words/commands.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>

namespace client {
namespace {

std::string keyword_form(const command &row) {
    std::string text;
    for (const keyword &word : row.keywords) {
        text += std::string(" [") + word.name + (word.value == nullptr ? "" : " ") +
                (word.value == nullptr ? "" : word.value) + ']';
    }
    return text;
}

std::string without_leading_blank(const std::string &text) {
    return text.starts_with(' ') ? text.substr(1) : text;
}

}    // namespace

std::string misfit(const number_slot &slot, uint64_t number) {
    const bool combined = slot.length_max != 0;
    const uint64_t first = combined ? number / 1000 : number;
    if (first > slot.max) {
        std::array<char, 24> hex{};
        std::snprintf(hex.data(), hex.size(), " (0x%lx)", slot.max);
        return std::string("at most ") + (combined ? "1000*" : "") + std::to_string(slot.max) +
               (slot.max > 9 && !combined ? hex.data() : "");
    }
    if (combined && number % 1000 > slot.length_max) {
        return "its length, " + std::to_string(number % 1000) + ", at most " +
               std::to_string(slot.length_max);
    }
    return {};
}

bool go_together(const keyword &a, const keyword &b) {
    const company strictest = std::max(a.with, b.with);
    return strictest == company::any || (strictest == company::other_slots && a.slot != b.slot);
}

bool same_word(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

const command *find_command(std::string_view name) {
    const auto rows = all_commands();
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const command &candidate) {
        return same_word(candidate.name, name);
    });
    return row == rows.end() ? nullptr : &*row;
}

std::string natural_form(const command &row) {
    std::string text;
    if (row.prefix != family::none) {
        text = row.required > 0 ? " PREFIX" : " [PREFIX]";
    } else {
        for (size_t i = 0; i < static_cast<size_t>(row.required); ++i) {
            text += std::string(" ") + row.numbers.at(i).name;
        }
    }
    return without_leading_blank(text + keyword_form(row));
}

std::string number_form(const command &row) {
    std::string text;
    for (size_t i = 0; i < row.numbers.size() && row.numbers.at(i).name != nullptr; ++i) {
        const bool optional = i >= static_cast<size_t>(row.required);
        text += std::string(optional ? " [" : " ") + row.numbers.at(i).name + (optional ? "]" : "");
    }
    return without_leading_blank(text);
}

}    // namespace client
