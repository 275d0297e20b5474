// Prefixes as the card takes them in, and their keys.
#pragma once

#include <compare>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "records/tree.h"
#include "table/table_line.h"

namespace simcard {

/// A key of the tree: 2 family bits, 16 VRF bits, the address; bits beyond `bits` are 0.
struct Key {
    uint8_t bytes[24]{};
    uint32_t bits{};

    /// The 6-bit chunk from bit position p on.
    [[nodiscard]] uint32_t chunk(uint32_t p) const {
        const uint32_t window = uint32_t{bytes[p / 8]} << 8 | bytes[p / 8 + 1];
        return window >> (10 - p % 8) & 0x3f;
    }
    [[nodiscard]] uint32_t root_slot() const { return uint32_t{bytes[0]} << 4 | bytes[1] >> 4; }
    [[nodiscard]] bool ipv6() const { return bytes[0] >= 64; }

    friend auto operator<=>(const Key &a, const Key &b) {
        const int order = memcmp(a.bytes, b.bytes, sizeof a.bytes);
        return order != 0 ? order <=> 0 : a.bits <=> b.bits;
    }
    friend bool operator==(const Key &a, const Key &b) = default;
};

/// The key of an entry with its host bits cleared; none for an impossible family or length.
std::optional<Key> key_of(const pfx_entry &entry);

/// The entry of a prefix.
pfx_entry entry_of(const table::prefix &prefix);

/// Parses "ADDRESS/LENGTH" (a bare address means its host prefix); none when malformed.
std::optional<pfx_entry> parse_prefix(std::string_view text, uint16_t vrf);

/// "ADDRESS/LENGTH" of a key.
std::string prefix_text(const Key &key);

/// VRF of a key.
inline uint16_t vrf_of(const Key &key) {
    return static_cast<uint16_t>((key.bytes[0] & 0x3f) << 10 | key.bytes[1] << 2 |
                                 key.bytes[2] >> 6);
}

}    // namespace simcard
