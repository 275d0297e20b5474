#include "client/words/arguments.h"

#include "client/base/number.h"
#include "client/channel/exchange.h"
#include "client/words/names.h"
#include "client/words/nearest.h"
#include "client/words/prefix.h"

namespace client {
namespace {

std::string quote(std::string_view word) {
    return "'" + std::string(word) + "'";
}

// Digits alone, with or without a sign: an integer that may be beyond 64 bits.
bool is_integer(std::string_view word) {
    word.remove_prefix(word.starts_with('-') || word.starts_with('+') ? 1 : 0);
    return !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string limit_text(uint64_t max) {
    return max == UINT64_MAX ? "0xffffffffffffffff" : std::to_string(max);
}

std::string slot_name(int slot) {
    return "a" + std::to_string(slot + 1);
}

// Collects the three numbers of one command, word by word.
class argument_parser {
public:
    explicit argument_parser(const command &row) : row_(row) {}

    std::string parse(const std::vector<std::string> &words);
    [[nodiscard]] plu_debug_request request() const {
        return make_request(row_.name, numbers_[0], numbers_[1], numbers_[2]);
    }
    std::vector<std::string> notes;

private:
    std::string take_number(std::string_view word, uint64_t number);
    std::string take_prefix(std::string_view word);
    std::string take_keyword(const keyword &key, const std::string *value);
    std::string unknown_word(std::string_view word) const;
    std::string check_complete();
    [[nodiscard]] std::string usage() const;

    const command &row_;
    std::array<uint64_t, 3> numbers_{};
    int count_ = 0;    // plain numbers so far
    bool prefix_ = false;
    std::vector<const keyword *> used_;
};

std::string argument_parser::usage() const {
    const std::string natural = natural_form(row_);
    const std::string numbers = number_form(row_);
    std::string text = std::string("; use: ") + row_.name + (natural.empty() ? "" : " ") + natural;
    if (!numbers.empty() && numbers != natural) {
        text += std::string(", or: ") + row_.name + ' ' + numbers;
    }
    return text;
}

std::string argument_parser::take_number(std::string_view word, uint64_t number) {
    if (prefix_ || !used_.empty() || count_ == 3) {
        return quote(word) + " is one number too many" + usage();
    }
    const number_slot &slot = row_.numbers.at(static_cast<size_t>(count_));
    const std::string wrong = misfit(slot, number);
    if (!wrong.empty()) {
        return quote(word) + " is too large for " + slot.name + ": " + wrong;
    }
    numbers_.at(static_cast<size_t>(count_++)) = number;
    return {};
}

std::string argument_parser::take_prefix(std::string_view word) {
    if (row_.prefix == family::none) {
        return quote(word) + ": " + row_.name + " takes no prefix" + usage();
    }
    if (prefix_ || count_ > 0 || !used_.empty()) {
        return quote(word) + " does not fit here: the prefix comes first and alone" + usage();
    }
    std::string error;
    const prefix value = parse_prefix(word, error);
    if (!error.empty()) {
        return error;
    }
    if (value.kind != row_.prefix) {
        const bool v4 = row_.prefix == family::v4;
        return quote(word) + (v4 ? " is an IPv6 prefix, and " : " is an IPv4 prefix, and ") +
               row_.name + (v4 ? " takes IPv4" : " takes IPv6");
    }
    prefix_ = true;
    const auto length = static_cast<uint64_t>(value.length);
    numbers_ = value.kind == family::v4 ? std::array{value.low, length, uint64_t{0}}
                                        : std::array{value.high, value.low, length};
    if (value.host_bits) {
        notes.push_back(quote(word) + " has bits set beyond its length; sent as typed");
    }
    return {};
}

std::string argument_parser::take_keyword(const keyword &key, const std::string *value) {
    const bool needs_value = key.value != nullptr;
    if (needs_value && value == nullptr) {
        return quote(key.name) + " needs a value" + usage();
    }
    const auto number = needs_value ? parse_number(*value) : uint64_t{1};
    if (needs_value && (number ? *number > key.max : is_integer(*value))) {
        return quote(*value) + " is out of range for " + quote(key.name) + ": 0 to " +
               limit_text(key.max);
    }
    if (!number) {
        return quote(*value) + " is no number for " + quote(key.name) + usage();
    }
    for (const keyword *other : used_) {
        if (other == &key || !go_together(*other, key)) {
            return quote(key.name) + (other == &key
                                          ? " is there twice"
                                          : " and " + quote(other->name) + " exclude each other");
        }
    }
    if (key.slot < count_) {
        return quote(key.name) + " sets " + slot_name(key.slot) +
               ", which is already given as a number";
    }
    used_.push_back(&key);
    numbers_.at(static_cast<size_t>(key.slot)) += *number * key.weight;
    if (key.sets_a3) {
        numbers_[2] = 1;
    }
    return {};
}

std::string argument_parser::unknown_word(std::string_view word) const {
    std::vector<std::string> candidates;
    for (const keyword &key : row_.keywords) {
        candidates.emplace_back(key.name);
    }
    std::string hint = did_you_mean(word, candidates);
    if (is_integer(word)) {
        hint = word.starts_with('-') ? "; numbers are not negative"
                                     : "; it is larger than any number of 64 bits";
    } else if (hint.empty() && !word.empty() &&
               word.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos) {
        hint = "; hexadecimal numbers begin with 0x";
    }
    return quote(word) + " does not fit" + hint + usage();
}

std::string argument_parser::check_complete() {
    if (row_.example_without_address && numbers_[0] == 0) {
        notes.emplace_back(
            "without an address the process takes its example, 64.31.0.0/19 vrf 200");
    }
    const bool prefix_missing = row_.prefix != family::none && !used_.empty() && count_ == 0;
    if (prefix_ || (count_ >= row_.required && !prefix_missing)) {
        return {};
    }
    const bool wants_prefix = row_.prefix != family::none && count_ == 0;
    return std::string(row_.name) + ": " +
           (wants_prefix ? "PREFIX" : row_.numbers.at(static_cast<size_t>(count_)).name) +
           " is missing" + usage();
}

std::string argument_parser::parse(const std::vector<std::string> &words) {
    for (size_t i = 1; i < words.size(); ++i) {
        const std::string &word = words[i];
        std::string error;
        if (const keyword *key = find_row(row_.keywords, word)) {
            const bool has_value = key->value != nullptr && i + 1 < words.size();
            error = take_keyword(*key, has_value ? &words[++i] : nullptr);
        } else if (const auto number = parse_number(word)) {
            error = take_number(word, *number);
        } else if (looks_like_prefix(word)) {
            error = take_prefix(word);
        } else {
            error = unknown_word(word);
        }
        if (!error.empty()) {
            return error;
        }
    }
    return check_complete();
}

parsed_command parse_raw(const std::vector<std::string> &words) {
    parsed_command result;
    std::array<uint64_t, 3> numbers{};
    if (words[0].size() >= plu_command_name_size) {
        result.error = "a name has at most 231 characters";
        return result;
    }
    for (size_t i = 1; i < words.size(); ++i) {
        const auto number = parse_number(words[i]);
        if (!number || i > numbers.size()) {
            result.error = quote(words[i]) + (number ? " is one number too many" : " is no number");
            return result;
        }
        numbers.at(i - 1) = *number;
    }
    result.request = make_request(words[0], numbers[0], numbers[1], numbers[2]);
    return result;
}

}    // namespace

bool is_listing(std::string_view name) {
    return same_word(name, "-h") || same_word(name, "-help");
}

parsed_command parse_command(const std::vector<std::string> &words, bool raw) {
    if (raw || is_listing(words[0])) {
        return parse_raw(words);
    }
    parsed_command result;
    result.row = find_command(words[0]);
    if (result.row == nullptr) {
        std::vector<std::string> names;
        for (const name_row &row : all_names()) {
            if (!row.in_shell_only) {
                names.emplace_back(row.name);
            }
        }
        std::string unused;
        const family kind = parse_prefix(words[0], unused).kind;
        const std::string hint = kind == family::none
                                     ? did_you_mean(words[0], names)
                                     : std::string("; did you mean '") +
                                           (kind == family::v4 ? "v4 " : "v6 ") + words[0] + "'?";
        result.error = quote(words[0]) + " is no command" + hint + "; 'plu_debug help' lists them";
        return result;
    }
    argument_parser parser(*result.row);
    result.error = parser.parse(words);
    result.notes = std::move(parser.notes);
    result.request = parser.request();
    return result;
}

}    // namespace client
