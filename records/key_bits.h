// Readers of a TBM key: its family, VRF, address bytes and bit groups.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/tree.h"

/// Family of a key by its first byte.
inline bool tbm_key_is_ipv6(const uint8_t *key) {
    return key[0] >= tbm_key_ipv6;
}

/// VRF of a key: bits 2 to 17.
inline uint16_t tbm_key_vrf(const uint8_t *key) {
    return static_cast<uint16_t>((key[0] & 0x3f) << 10 | key[1] << 2 | key[2] >> 6);
}

/// Address byte i of a key; reads key bytes i + 2 and i + 3.
inline uint8_t tbm_key_address_byte(const uint8_t *key, int i) {
    return static_cast<uint8_t>(key[i + 2] << 2 | key[i + 3] >> 6);
}

/// The six key bits from bit `position` (even) on; bits behind the 19 key bytes count as 0 and are
/// not read.
inline uint8_t tbm_key_chunk(const uint8_t *key, uint32_t position) {
    const size_t byte = position / 8;
    if (byte >= tbm_key_bytes) {
        return 0;
    }
    const uint32_t next = byte + 1 < tbm_key_bytes ? key[byte + 1] : 0;
    const uint32_t window = uint32_t{key[byte]} << 8 | next;
    return static_cast<uint8_t>(window >> (10 - position % 8) & 0x3f);
}

/// The n key bits from bit p on, most significant first. Reads key bytes p div 8 to p div 8 + 2;
/// n + (p mod 8) must not exceed 24.
inline uint32_t key_bits_extract(const uint8_t *key, uint32_t p, uint32_t n) {
    const uint8_t *at = key + p / 8;
    const uint32_t window = uint32_t{at[0]} << 16 | uint32_t{at[1]} << 8 | at[2];
    return (window >> (24 - p % 8 - n)) & ((1U << n) - 1);
}
