// One line of a reply, read by its form.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "client/replies/form.h"

namespace client {

struct field_value {
    uint64_t number;          // signed for conversion d
    std::string_view text;    // of a text, without its padding; points into the line
};

struct reply_record {
    const form *kind = nullptr;
    std::array<field_value, form_fields_max> values;

    /// True for one of the forms of that name.
    [[nodiscard]] bool is(std::string_view name) const { return kind->row.name == name; }
    /// The field of that name; null when the form has none.
    [[nodiscard]] const field_value *find(std::string_view name) const;
    /// Its number; 0 when the form has none.
    [[nodiscard]] uint64_t number(std::string_view name) const;
    [[nodiscard]] int64_t signed_number(std::string_view name) const {
        return static_cast<int64_t>(number(name));
    }
    [[nodiscard]] std::string_view text(std::string_view name) const;
};

/// Reads a line. False when it is not exactly as the form prints it; the record is garbage then.
bool read_line(const form &kind, std::string_view line, reply_record &record);

}    // namespace client
