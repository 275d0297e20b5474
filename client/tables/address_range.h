// Ranges of addresses and the prefixes that cover them exactly.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

using address_number = unsigned __int128;

/// An inclusive range of one family; first <= last. IPv4 uses the low 32 bits.
struct address_range {
    int width;    // bits of an address: 32 or 128
    address_number first;
    address_number last;
};

struct address_prefix {
    int width;
    address_number address;
    int length;
};

/// Parses "FIRST,LAST[,...]", the addresses as decimal IPv4 numbers, dotted quads or IPv6 text.
/// None when the line says anything else, mixes families or runs backwards.
std::optional<address_range> parse_range(std::string_view line);

/// Calls `take` with the fewest prefixes that cover exactly the range, in ascending order.
void split_range(const address_range &range,
                 const std::function<void(const address_prefix &)> &take);

/// "10.1.2.0/24" or "2001:db8::/32".
std::string prefix_text(const address_prefix &prefix);
