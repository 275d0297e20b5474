// Prefix entries and TBM keys: conversion both ways.
#pragma once

#include <cstdint>

#include "tbm/records.h"

/// A key and the number of its bits in use; 19 key bytes and room for key_bits_extract's window.
struct tbm_key {
    uint8_t bytes[tbm_key_bytes + 5];
    uint32_t key_bits_used;
};

/// Family of a key by its first byte.
inline bool tbm_key_is_ipv6(const uint8_t *key) {
    return key[0] >= tbm_key_ipv6;
}

/// Address bytes of a family: 4 for family 0, 16 otherwise.
constexpr int family_address_bytes(uint32_t family) {
    return family == 0 ? 4 : 16;
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

/// Writes the key of an entry. An entry of a type other than 1 and 2 writes nothing.
void pfx_entry_to_tbm_key(const pfx_entry &entry, tbm_key &key);

/// Fills an entry from a key; 0 bits give a zeroed entry. The length byte is bits - 18, or 0 below.
void tbm_key_to_pfx_entry(pfx_entry &entry, const uint8_t *key, uint32_t key_bits_used);

/// IPv4 entry: host bits are kept, the length byte is stored as given.
pfx_entry pfx_entry_build_v4(uint32_t address, uint8_t length, uint16_t vrf);

/// IPv6 entry from high and low address words and 1000 * VRF + length. The length's low 8 bits are
/// limited to 128; host bits are cleared.
void pfx_entry_build_v6(pfx_entry &entry, uint64_t high, uint64_t low, uint64_t vrf_and_length);

/// VRF of an entry.
inline uint16_t pfx_entry_vrf(const pfx_entry &entry) {
    return static_cast<uint16_t>(entry.vrf[0] << 8 | entry.vrf[1]);
}
