// A form: the text of one line of a reply, with its fields.
//
// The text is the process's own format, each conversion followed by its field: "tn %p{node} is not
// a search node". "{name:kind}" reads the field as that kind, "{name!}" counts against the card
// unless it is 0, "{name#}" numbers the line's counters, "{+}" is the second word of the mask
// before; fields named hw_index and prefix are of these kinds. "%*{name:kind|A|B}" is a run of
// pieces that are sent one by one, "%!{name:kind|A}" a piece of several conversions that is read as
// one field.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace client {

enum class meaning : uint8_t {
    progress,    // says nothing of the card
    data,
    summary,       // counters
    finding,       // speaks against the card
    unreadable,    // a finding, or a refusal when it is the whole answer
    refusal,       // the command was not done
    code           // its field "rc" refuses unless it is 0
};

/// True for what an answer tells apart from its data.
constexpr bool speaks(meaning means) {
    return means >= meaning::finding && means <= meaning::refusal;
}

enum class field_kind : uint8_t {
    number,
    hex,
    address,          // null as "(nil)"
    hw_index,         // level, bank and node
    mask_left,        // two words, high and low; length 1 is the leftmost bit
    mask_low_left,    // the same, the low word first
    mask_v4,          // high and low; length 1 is bit 31 of the low word
    mask_v4_word,     // one word; length 1 is bit 31
    more,             // the second word of a mask
    // from here on as text
    word,
    text,         // may hold blanks
    prefix,       // ADDRESS/LENGTH, "0/0", or "(null)" or "NULL"
    bytes,        // hexadecimal digits, blanks between
    steps,        // numbers with dots between, or none
    key,          // the same, of a key: family and VRF are in the first three
    relation,     // "Parent: ", an indent, or nothing
    numbers,      // each followed by a blank
    indexes,      // hardware indexes, each followed by a blank
    low_first,    // a character per bit, the lowest on the left
    high_first    // the highest on the left
};

constexpr bool is_text(field_kind kind) {
    return kind >= field_kind::word;
}

struct form_field {
    std::string_view literal{};    // what stands before it
    std::string_view name{};
    field_kind kind = field_kind::number;
    char conversion = 's';    // d, x, X, p, s; '*' for pieces
    uint8_t width = 0;
    bool zeros = false;    // padded with zeros
    bool left = false;     // padded on the right
    bool bad = false;
    bool numbering = false;
};

inline constexpr size_t form_fields_max = 10;

/// A row of the table of forms, which explains them.
struct form_row {
    std::string_view name;
    std::string_view commands;
    std::string_view text;
    meaning means = meaning::progress;
    std::string_view member;
};

struct form {
    form_row row{};
    std::array<form_field, form_fields_max> fields{};
    size_t count = 0;
    std::string_view tail{};    // behind the last field

    [[nodiscard]] constexpr bool sent_by(std::string_view command) const {
        std::string_view names = row.commands;
        while (!names.empty()) {
            const std::string_view name = names.substr(0, names.find(' '));
            if (name == command || name == "*") {
                return true;
            }
            names.remove_prefix(name.size() == names.size() ? names.size() : name.size() + 1);
        }
        return false;
    }
};

/// Reads the text of a form. A text that is no form does not compile.
consteval form compile_form(const form_row &row);

namespace form_text {

// Takes what begins the text, up to the first of the characters.
constexpr std::string_view take_until(std::string_view &text, std::string_view ends) {
    const std::string_view taken = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(taken.size());
    return taken;
}

struct kind_name {
    std::string_view name{};
    field_kind kind;
};

inline constexpr kind_name kind_names[] = {
    {"number", field_kind::number},
    {"hex", field_kind::hex},
    {"address", field_kind::address},
    {"hw_index", field_kind::hw_index},
    {"mask_left", field_kind::mask_left},
    {"mask_low_left", field_kind::mask_low_left},
    {"mask_v4", field_kind::mask_v4},
    {"mask_v4_word", field_kind::mask_v4_word},
    {"text", field_kind::text},
    {"prefix", field_kind::prefix},
    {"bytes", field_kind::bytes},
    {"steps", field_kind::steps},
    {"key", field_kind::key},
    {"relation", field_kind::relation},
    {"numbers", field_kind::numbers},
    {"indexes", field_kind::indexes},
    {"low_first", field_kind::low_first},
    {"high_first", field_kind::high_first},
    {"word", field_kind::word},
};

consteval field_kind kind_named(std::string_view name) {
    for (const kind_name &row : kind_names) {
        if (row.name == name) {
            return row.kind;
        }
    }
    throw "no kind of field";
}

consteval void read_conversion(std::string_view &text, form_field &field) {
    field.left = text.starts_with('-');
    text.remove_prefix(field.left ? 1 : 0);
    field.zeros = text.starts_with('0');
    for (; text[0] >= '0' && text[0] <= '9'; text.remove_prefix(1)) {
        field.width = static_cast<uint8_t>(field.width * 10 + (text[0] - '0'));
    }
    text.remove_prefix(text.starts_with('l') ? 1 : 0);
    field.conversion = text[0] == '!' ? '*' : text[0];
    field.kind = field.conversion == 'd'   ? field_kind::number
                 : field.conversion == 'p' ? field_kind::address
                 : field.conversion == 's' ? field_kind::word
                                           : field_kind::hex;
    text.remove_prefix(1);
}

consteval void read_name(std::string_view &text, form_field &field) {
    if (!text.starts_with('{')) {
        throw "a conversion without a field";
    }
    text.remove_prefix(1);
    field.name = take_until(text, ":!#|}");
    field.kind = field.name == "+"          ? field_kind::more
                 : field.name == "hw_index" ? field_kind::hw_index
                 : field.name == "prefix"   ? field_kind::prefix
                                            : field.kind;
    if (text.starts_with(':')) {
        text.remove_prefix(1);
        field.kind = kind_named(take_until(text, "!#|}"));
    }
    field.bad = text.starts_with('!');
    field.numbering = text.starts_with('#');
    (void)take_until(text, "}");    // pieces are read as a whole
    text.remove_prefix(1);
}

}    // namespace form_text

consteval form compile_form(const form_row &row) {
    form result{row};
    std::string_view rest = row.text;
    for (std::string_view literal = form_text::take_until(rest, "%"); !rest.empty();
         literal = form_text::take_until(rest, "%")) {
        form_field &field = result.fields.at(result.count++);
        field.literal = literal;
        rest.remove_prefix(1);
        form_text::read_conversion(rest, field);
        form_text::read_name(rest, field);
        result.tail = rest;
    }
    if (result.count == 0) {
        result.tail = row.text;
    } else {
        result.tail = form_text::take_until(result.tail, "%");
    }
    return result;
}

}    // namespace client
