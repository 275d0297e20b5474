// Prefix entries and TBM keys: conversion both ways.
#pragma once

#include <cstdint>

#include "records/key_bits.h"
#include "records/tree.h"

/// A key and the number of its bits in use; 19 key bytes and room for key_bits_extract's window.
struct tbm_key {
    uint8_t bytes[tbm_key_bytes + 5];
    uint32_t key_bits_used;
};

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
