#include "client/replies/card_usage.h"

namespace client {
namespace {

constexpr size_t small_banks = 20;
constexpr int64_t small_bank_size = 2048;
constexpr int64_t large_bank_size = 4096;
constexpr int64_t no_level = 255;

void say(std::string &unexpected, const char *command, const reply_line &line) {
    if (unexpected.empty()) {
        unexpected = unexpected_line(command, line.text);
    }
}

}    // namespace

// Banks without a level and without nodes in use are not listed.
card_usage::card_usage() : banks_() {
    for (size_t id = 0; id < banks_.size(); ++id) {
        banks_.at(id).size = id < small_banks ? small_bank_size : large_bank_size;
    }
}

bool card_usage::take_bank(const reply_record &record) {
    const int64_t id = record.signed_number("bank");
    const int64_t level = record.signed_number("stride_level");
    const bank_state bank{record.signed_number("size"), record.signed_number("used"),
                          level == no_level ? -1 : level};
    if (id <= last_bank_ || id >= bank_count || bank.size <= 0 || bank.used < 0 ||
        bank.used > bank.size || level < 0 || bank.level >= stride_level_count) {
        return false;
    }
    banks_.at(static_cast<size_t>(id)) = bank;
    last_bank_ = id;
    return true;
}

// Binary digits from bank 63 down, with blanks between.
bool card_usage::take_bitmap(std::string_view text) {
    std::string digits(text);
    std::erase(digits, ' ');
    for (size_t id = 0; id < banks_.size() && digits.size() == 64; ++id) {
        banks_.at(id).taken = digits.at(63 - id) == '1';
    }
    return digits.size() == 64;
}

void card_usage::take_summary(const reply_line &line) {
    if (line.known == nullptr || (line.known->is("bank") && !take_bank(*line.known))) {
        say(unexpected_, "banksum", line);
        return;
    }
    summed_ = summed_ || line.known->is("sum");
}

void card_usage::take_context(const reply_line &line) {
    if (line.known == nullptr ||
        (line.known->is("bank_bitmap") && !take_bitmap(line.known->text("taken_banks")))) {
        say(unexpected_, "dump", line);
        return;
    }
    marked_ = marked_ || line.known->is("bank_bitmap");
    if (line.known->is("level")) {
        levels_.emplace_back(line.known->signed_number("level"),
                             line.known->signed_number("str_a"));
    }
}

std::string card_usage::unexpected() const {
    return !unexpected_.empty() ? unexpected_
           : !summed_           ? "the reply to 'banksum' has no SUM line"
           : !marked_           ? "the reply to 'dump' has no bank bitmap"
                                : "";
}

}    // namespace client
