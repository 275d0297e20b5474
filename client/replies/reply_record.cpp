#include "client/replies/reply_record.h"

#include <algorithm>
#include <charconv>

namespace client {
namespace {

// Literals are short: a loop beats a call.
bool begins_with(std::string_view text, std::string_view literal) {
    if (text.size() < literal.size()) {
        return false;
    }
    for (size_t i = 0; i < literal.size(); ++i) {
        if (text[i] != literal[i]) {
            return false;
        }
    }
    return true;
}

// What is left of the line.
class line_reader {
public:
    explicit line_reader(std::string_view line) : rest_(line) {}

    bool skip(std::string_view literal) {
        if (!begins_with(rest_, literal)) {
            return false;
        }
        rest_.remove_prefix(literal.size());
        return true;
    }
    bool read(const form_field &field, std::string_view behind, field_value &value) {
        switch (field.conversion) {
            case 'd':
                return decimal(field, value.number);
            case 'p':
                return pointer(value.number);
            case 's':
            case '*':
                return text(field, behind, value.text);
            default:
                return hexadecimal(field, value.number);
        }
    }
    [[nodiscard]] bool at_end_with(std::string_view tail) const {
        return rest_.size() == tail.size() && begins_with(rest_, tail);
    }

private:
    bool decimal(const form_field &field, uint64_t &number);
    bool hexadecimal(const form_field &field, uint64_t &number);
    bool pointer(uint64_t &number);
    bool text(const form_field &field, std::string_view behind, std::string_view &value);
    bool plain_prefix(std::string_view behind, std::string_view &value);

    std::string_view rest_;
};

constexpr bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool is_hex(char c, char conversion) {
    return is_digit(c) || (conversion == 'X' ? c >= 'A' && c <= 'F' : c >= 'a' && c <= 'f');
}

// Exactly as printed: padded to the width and no further.
bool line_reader::decimal(const form_field &field, uint64_t &number) {
    size_t pad = 0;
    while (!field.zeros && pad < field.width && pad < rest_.size() && rest_[pad] == ' ') {
        ++pad;
    }
    const char *begin = rest_.data() + pad;
    int64_t value = 0;
    const auto [stop, error] = std::from_chars(begin, rest_.data() + rest_.size(), value);
    if (error != std::errc()) {
        return false;
    }
    const auto length = static_cast<size_t>(stop - rest_.data());
    const char *digits = begin + (*begin == '-' ? 1 : 0);
    const bool led_by_zero = *digits == '0' && (stop - digits > 1 || *begin == '-');
    if ((pad > 0 && length != field.width) ||
        (pad == 0 && field.width > 0 && length < field.width) ||
        (led_by_zero && !(field.zeros && length == field.width))) {
        return false;
    }
    number = static_cast<uint64_t>(value);
    rest_.remove_prefix(length);
    return true;
}

bool line_reader::hexadecimal(const form_field &field, uint64_t &number) {
    size_t length = 0;
    uint64_t value = 0;
    for (; length < rest_.size() && length < 16 && is_hex(rest_[length], field.conversion);
         ++length) {
        const char c = rest_[length];
        value = value << 4 | static_cast<uint64_t>(is_digit(c) ? c - '0' : (c | 0x20) - 'a' + 10);
    }
    if (length == 0 || length < field.width ||
        (length > 1 && length != field.width && rest_[0] == '0')) {
        return false;
    }
    number = value;
    rest_.remove_prefix(length);
    return true;
}

bool line_reader::pointer(uint64_t &number) {
    if (skip("(nil)")) {
        number = 0;
        return true;
    }
    return skip("0x") && hexadecimal({.conversion = 'x'}, number) && number != 0;
}

/// Kinds of characters, a bit each: a table, as millions of lines are looked at.
enum char_kind : uint8_t {
    decimal_digit = 1,
    small_hex = 2,
    hex_or_blank = 4,
    of_address = 8,
    of_steps = 16,
    of_marks = 32,
    printed = 64
};

constexpr std::array<uint8_t, 256> make_char_kinds() {
    std::array<uint8_t, 256> kinds{};
    const auto add = [&](std::string_view set, int kind) {
        for (const char c : set) {
            kinds[static_cast<unsigned char>(c)] |= static_cast<uint8_t>(kind);
        }
    };
    add("0123456789", decimal_digit | small_hex | hex_or_blank | of_address | of_steps);
    add("abcdef", small_hex | hex_or_blank | of_address);
    add("ABCDEF ", hex_or_blank);
    add(".", of_address | of_steps);
    add(":", of_address);
    add("#_+01 ", of_marks);
    for (size_t c = ' ' + 1; c < kinds.size(); ++c) {
        kinds[c] |= printed;
    }
    return kinds;
}

constexpr std::array<uint8_t, 256> char_kinds = make_char_kinds();

bool all_of(std::string_view text, char_kind kind) {
    return std::ranges::all_of(
        text, [=](char c) { return (char_kinds[static_cast<unsigned char>(c)] & kind) != 0; });
}

bool is_prefix(std::string_view text) {
    const size_t slash = text.find('/');
    if (slash == std::string_view::npos || slash == 0) {
        return text == "(null)" || text == "NULL";
    }
    const std::string_view length = text.substr(slash + (text.substr(slash + 1, 1) == "-" ? 2 : 1));
    return !length.empty() && length.size() <= 10 && all_of(length, decimal_digit) &&
           all_of(text.substr(0, slash), of_address);
}

// Items of digits, each with a blank behind it.
bool is_list(std::string_view text, std::string_view before) {
    if (!text.ends_with(' ')) {
        return false;
    }
    while (!text.empty()) {
        const size_t end = text.find(' ');
        const std::string_view item = text.substr(0, end);
        if (!item.starts_with(before) || item.size() == before.size() ||
            !all_of(item.substr(before.size()), before.empty() ? decimal_digit : small_hex)) {
            return false;
        }
        text.remove_prefix(end + 1);
    }
    return true;
}

bool fits(field_kind kind, std::string_view text) {
    switch (kind) {
        case field_kind::word:
            return !text.empty() && all_of(text, printed);
        case field_kind::prefix:
            return is_prefix(text);
        case field_kind::bytes:
            return all_of(text, hex_or_blank);
        case field_kind::steps:
        case field_kind::key:
            return all_of(text, of_steps);
        case field_kind::relation:
            return text.empty() || text == "Parent: " || text == "    ";
        case field_kind::numbers:
            return is_list(text, "");
        case field_kind::indexes:
            return is_list(text, "0x");
        case field_kind::low_first:
        case field_kind::high_first:
            return all_of(text, of_marks);
        default:
            return true;
    }
}

// A prefix as most lines hold it, in one pass. False for any other, which is looked at again.
bool line_reader::plain_prefix(std::string_view behind, std::string_view &value) {
    const auto end_of = [&](size_t at, char_kind kind) {
        while (at < rest_.size() &&
               (char_kinds[static_cast<unsigned char>(rest_[at])] & kind) != 0) {
            ++at;
        }
        return at;
    };
    const size_t slash = end_of(0, of_address);
    const size_t end = end_of(slash + 1, decimal_digit);
    if (slash == 0 || end <= slash + 1 || rest_[slash] != '/' || end > slash + 4 ||
        !begins_with(rest_.substr(end), behind) || (behind.empty() && end != rest_.size())) {
        return false;
    }
    value = rest_.substr(0, end);
    rest_.remove_prefix(end);
    return true;
}

// The text goes to what stands behind the field; the padding is on the side that the form says.
bool line_reader::text(const form_field &field, std::string_view behind, std::string_view &value) {
    if (field.kind == field_kind::prefix && field.width == 0 && plain_prefix(behind, value)) {
        return true;
    }
    const size_t end =
        behind.empty() ? rest_.size() : rest_.find(behind, field.left ? field.width : 0);
    if (end > rest_.size()) {
        return false;
    }
    std::string_view found = rest_.substr(0, end);
    rest_.remove_prefix(end);
    if (field.width > 0) {
        if (found.size() < field.width) {
            return false;
        }
        while (found.size() > 1 && (field.left ? found.back() : found.front()) == ' ') {
            found.remove_prefix(field.left ? 0 : 1);
            found.remove_suffix(field.left ? 1 : 0);
        }
        if (end > field.width && found.size() != end) {
            return false;
        }
    }
    value = found;
    return fits(field.kind, found);
}

}    // namespace

bool read_line(const form &kind, std::string_view line, reply_record &record) {
    line_reader reader(line);
    for (size_t i = 0; i < kind.count; ++i) {
        const form_field &field = kind.fields[i];
        const std::string_view behind = i + 1 < kind.count ? kind.fields[i + 1].literal : kind.tail;
        if (!reader.skip(field.literal) || !reader.read(field, behind, record.values[i])) {
            return false;
        }
    }
    record.kind = &kind;
    return reader.at_end_with(kind.tail);
}

const field_value *reply_record::find(std::string_view name) const {
    for (size_t i = 0; i < kind->count; ++i) {
        if (kind->fields[i].name == name) {
            return &values[i];
        }
    }
    return nullptr;
}

uint64_t reply_record::number(std::string_view name) const {
    const field_value *value = find(name);
    return value == nullptr ? 0 : value->number;
}

std::string_view reply_record::text(std::string_view name) const {
    const field_value *value = find(name);
    return value == nullptr ? std::string_view() : value->text;
}

}    // namespace client
