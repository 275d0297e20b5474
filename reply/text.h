// Text forms of prefixes, addresses and paths. The results stand in process-wide buffers that the
// next call of the same formatter overwrites. Debug thread only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/export.h"
#include "records/tree.h"

inline constexpr size_t text_buffer_size = 1000;
inline constexpr int phu_pfx_entries = 24;

extern "C" {
extern PLU_EXPORT char tbmd_tmp_str[text_buffer_size];    // result of tbmd_key_str
extern PLU_EXPORT char phu_tmp_str[text_buffer_size];     // result of phu_key_stride_str
extern PLU_EXPORT char phu_pfx_str[text_buffer_size];     // result of phu_pfx_to_str
extern PLU_EXPORT uint8_t
    phu_pfx[phu_pfx_entries];    // stride index of each level of a walk's path
}

/// Prefix of a key as address, slash and length; "0/0" for 0 bits.
std::string_view tbmd_key_text(const uint8_t *key, uint32_t key_bits_used);
inline const char *tbmd_key_str(const uint8_t *key, uint32_t key_bits_used) {
    return tbmd_key_text(key, key_bits_used).data();    // it ends with a NUL
}

/// Prefix text of a leaf.
inline const char *leaf_text(const leaf *entry) {
    return tbmd_key_str(entry->key, entry->key_bits_used);
}

/// Dotted quad of 4 bytes. Returns the destination, null (destination untouched) when it is too
/// small.
char *ipv4_addr_str(const uint8_t *address, char *destination, uint32_t size);

/// Compressed text of 16 bytes; the destination is left untouched when it is too small.
void ipv6_addr_str(const uint8_t *address, char *destination, uint32_t size);

/// The first n + 3 six-bit groups of a key, dotted; as many as phu_tmp_str holds. Reads no key byte
/// beyond the leaf's key.
const char *phu_key_stride_str(const uint8_t *key, uint32_t n);

/// Entries 0 to n of phu_pfx, dotted, into phu_pfx_str; an n beyond the table means its last entry.
void phu_pfx_to_str(uint32_t n);
