// The lines of a prefix table, as cards load them, recordings hold them and comparisons read them:
// "PREFIX [VRF]" or "A U4 PREFIX VRF #". A prefix without a length is one address; a '#' at the
// start of a word begins a comment.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace table {

/// One prefix; ordered by VRF, family, address and length. Bits beyond the length are 0.
struct prefix {
    uint16_t vrf = 0;
    uint8_t family = 4;    // 4 or 6
    uint8_t length = 0;
    std::array<uint8_t, 16> address{};

    bool operator==(const prefix &) const = default;
    std::strong_ordering operator<=>(const prefix &other) const;
};

struct line {
    enum kind { nothing, entry, bad } what = nothing;    // nothing: blank, or a comment
    prefix value{};
    const char *problem = nullptr;    // why a bad line is bad
};

line parse_line(std::string_view text);

/// Parses "ADDRESS[/LENGTH]"; none when malformed.
std::optional<prefix> parse_prefix(std::string_view text, uint16_t vrf = 0);

/// "ADDRESS/LENGTH".
std::string text_of(const prefix &value);

}    // namespace table
