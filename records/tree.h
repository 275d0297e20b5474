// Records of the TBM tree, shared with the PLU/PHU library.
//
// Written by the library, read in place by this process. Multi-byte fields are little-endian,
// pointers are 64-bit addresses valid in this process. A null pointer means "none", an index of 0
// means "no hardware node". Bit i of a bit string is bit (i mod 8) of byte (i div 8) counted from
// the least significant bit; the TBM key alone is numbered from the most significant bit of byte 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// Set of prefix lengths: position k from the left (1 = most significant bit) stands for length k.
struct mask128 {
    uint64_t low;     // positions 65 to 128
    uint64_t high;    // positions 1 to 64

    friend constexpr bool operator==(const mask128 &, const mask128 &) = default;
    friend constexpr mask128 operator|(const mask128 &a, const mask128 &b) {
        return {a.low | b.low, a.high | b.high};
    }
    friend constexpr mask128 operator&(const mask128 &a, const mask128 &b) {
        return {a.low & b.low, a.high & b.high};
    }
    constexpr mask128 &operator|=(const mask128 &other) { return *this = *this | other; }
    [[nodiscard]] constexpr bool empty() const { return (low | high) == 0; }
    /// True when every position of `part` is set here too.
    [[nodiscard]] constexpr bool contains(const mask128 &part) const {
        return (*this & part) == part;
    }
};
static_assert(sizeof(mask128) == 16);

inline constexpr uint32_t tbm_header_bits = 18;      // 2 family bits and 16 VRF bits
inline constexpr uint32_t tbm_root_bits = 12;        // key bits that select the root slot
inline constexpr uint32_t tbm_stride_bits = 6;       // key bits per level below the root
inline constexpr uint32_t tbm_key_bits_max = 146;    // IPv6 host prefix
inline constexpr size_t tbm_key_bytes = 19;
inline constexpr uint8_t tbm_key_ipv6 = 64;    // key bytes 0 from here on are IPv6

/// One prefix of the table.
struct leaf {
    uint8_t reserved0[2];
    uint16_t key_bits_used;        // 2: 18 + prefix length
    uint8_t key[tbm_key_bytes];    // 4: TBM key
    uint8_t reserved23;
};
static_assert(sizeof(leaf) == 24);
static_assert(offsetof(leaf, key_bits_used) == 2);
static_assert(offsetof(leaf, key) == 4);

/// Leaves of one internal node, in the order of its bitmap positions.
struct leaf_array {
    int32_t la_nnodes;    // 0: number of leaves
    uint32_t reserved4;
    leaf **la_leaves;    // 8
};
static_assert(sizeof(leaf_array) == 16);
static_assert(offsetof(leaf_array, la_nnodes) == 0);
static_assert(offsetof(leaf_array, la_leaves) == 8);

struct tn;

/// Node slots: the root table, or the children of a search node.
struct tree_array {
    int16_t ta_nnodes;          // 0: slots, not counting an internal-node slot
    int16_t ta_inode_exists;    // 2: non-zero when slot 0 holds an internal node
    uint32_t reserved4;
    tn **ta_nodes;    // 8
};
static_assert(sizeof(tree_array) == 16);
static_assert(offsetof(tree_array, ta_nnodes) == 0);
static_assert(offsetof(tree_array, ta_inode_exists) == 2);
static_assert(offsetof(tree_array, ta_nodes) == 8);

inline constexpr uint16_t tn_type_mask = 0x0007;
inline constexpr uint16_t tn_inode_flag = 0x0100;
inline constexpr uint16_t tn_flag_bit9 = 0x0200;
inline constexpr unsigned tn_stride_shift = 4;

enum tn_type : uint32_t { TN_SEARCH = 0, TN_INTERN = 1, TN_LEAF = 2, TN_END = 3 };

enum tn_hint_state : uint8_t {
    HINT_INIT = 0,          // no hardware hint node
    HINT_SEARCH = 1,        // search node at hw_index
    HINT_SEARCH_END = 2,    // search node at hw_index, end node at en_hw_index
    HINT_END = 3,           // end node at hw_index
};

/// Tree node.
struct tn {
    uint16_t tn_flags;    // 0: bits 0-2 type, 4-7 stride, 8 inode flag
    uint8_t reserved2[2];
    uint16_t par_bl_offset;    // 4: index of the best leaf in par_bl_larray
    uint16_t par_bl_len;       // 6: prefix length kept with that reference
    uint32_t en_hw_index;      // 8: end node in state SEARCH_END
    uint8_t reserved12[4];
    uint8_t tn_nodes;    // 16
    uint8_t reserved17;
    uint8_t hint_state;        // 18: tn_hint_state
    uint8_t bmsf;              // 19: mask position added to the node's masks, 0 none
    uint8_t key_type;          // 20: 0 IPv4, else IPv6
    uint8_t ext_mask_count;    // 21
    uint8_t int_mask_count;    // 22
    uint8_t reserved23;
    mask128 ext_mask;            // 24: lengths below children without hardware nodes
    mask128 int_mask;            // 40: lengths of the own internal node
    mask128 hint_mask;           // 56: lengths at and below the node
    uint64_t hint_sn_bitmap;     // 72: SN copy, bytes 0-7
    uint64_t hint_sn_word;       // 80: SN copy, control word
    uint8_t hint_sn_flags;       // 88: SN copy, type byte
    uint8_t hint_en_mask[16];    // 89: EN copy, mask, low word first
    uint8_t hint_en_flags;       // 105: EN copy, type byte
    uint8_t reserved106[6];
    uint32_t hw_index;    // 112: hint node, 0 none
    uint8_t reserved116[4];
    leaf_array *par_bl_larray;    // 120: leaf array of the best covering leaf, null none
    uint8_t reserved128[8];
    union {                        // 136
        tree_array *sn_charray;    // SEARCH: children
        leaf_array *in_lfarray;    // INTERN, END: leaves
    };
    union {                   // 144
        uint64_t sn_ebmap;    // SEARCH: groups that have children
        uint64_t in_ibmap;    // INTERN, END: internal prefix bitmap
    };
    uint64_t hint_ebmap;    // 152: SEARCH: groups reached through hardware search nodes
};
static_assert(sizeof(tn) == 160);
static_assert(std::is_trivially_copyable_v<tn>);
static_assert(offsetof(tn, tn_flags) == 0);
static_assert(offsetof(tn, par_bl_offset) == 4);
static_assert(offsetof(tn, par_bl_len) == 6);
static_assert(offsetof(tn, en_hw_index) == 8);
static_assert(offsetof(tn, tn_nodes) == 16);
static_assert(offsetof(tn, hint_state) == 18);
static_assert(offsetof(tn, bmsf) == 19);
static_assert(offsetof(tn, key_type) == 20);
static_assert(offsetof(tn, ext_mask_count) == 21);
static_assert(offsetof(tn, int_mask_count) == 22);
static_assert(offsetof(tn, ext_mask) == 24);
static_assert(offsetof(tn, int_mask) == 40);
static_assert(offsetof(tn, hint_mask) == 56);
static_assert(offsetof(tn, hint_sn_bitmap) == 72);
static_assert(offsetof(tn, hint_sn_word) == 80);
static_assert(offsetof(tn, hint_sn_flags) == 88);
static_assert(offsetof(tn, hint_en_mask) == 89);
static_assert(offsetof(tn, hint_en_flags) == 105);
static_assert(offsetof(tn, hw_index) == 112);
static_assert(offsetof(tn, par_bl_larray) == 120);
static_assert(offsetof(tn, sn_charray) == 136);
static_assert(offsetof(tn, sn_ebmap) == 144);
static_assert(offsetof(tn, hint_ebmap) == 152);

/// Head of the tree.
struct tbm_handle_record {
    tree_array *tbdb_root;    // 0
    uint8_t reserved8[1776];
    int32_t key_length;    // 1784: bits
    uint8_t reserved1788[8];
    int32_t leaf_size;            // 1796: bytes
    const uint8_t *stride_map;    // 1800: one byte per level
    uint8_t reserved1808[170];
    uint16_t address_size;    // 1978: platform address size
    uint8_t reserved1980[4];
};
static_assert(sizeof(tbm_handle_record) == 1984);
static_assert(offsetof(tbm_handle_record, tbdb_root) == 0);
static_assert(offsetof(tbm_handle_record, key_length) == 1784);
static_assert(offsetof(tbm_handle_record, leaf_size) == 1796);
static_assert(offsetof(tbm_handle_record, stride_map) == 1800);
static_assert(offsetof(tbm_handle_record, address_size) == 1978);

enum pfx_entry_type : uint8_t { PFX_IPV4 = 1, PFX_IPV6 = 2 };

inline constexpr size_t pfx_entry_v4_length_at = 7;
inline constexpr size_t pfx_entry_v6_length_at = 19;

/// Prefix handed to the library's entry functions; zero-filled before use.
struct pfx_entry {
    uint8_t type;           // 0: pfx_entry_type
    uint8_t vrf[2];         // 1: high byte first
    uint8_t address[16];    // 3: most significant byte first; IPv4 uses 4 bytes
    uint8_t length_v6;      // 19
    uint8_t reserved[48];

    /// The length byte lies behind the address of the entry's family (type 1 IPv4, else IPv6).
    [[nodiscard]] uint8_t length() const { return type == PFX_IPV4 ? address[4] : length_v6; }
    void set_length(uint8_t value) { (type == PFX_IPV4 ? address[4] : length_v6) = value; }
};
static_assert(sizeof(pfx_entry) == 68);
static_assert(std::is_trivially_copyable_v<pfx_entry>);
static_assert(offsetof(pfx_entry, vrf) == 1);
static_assert(offsetof(pfx_entry, address) == 3);
static_assert(offsetof(pfx_entry, address) + 4 == pfx_entry_v4_length_at);
static_assert(offsetof(pfx_entry, length_v6) == pfx_entry_v6_length_at);

inline constexpr size_t hint_trail_entries = 24;
inline constexpr size_t hint_code_bytes = 24;

/// Hint node met at one hint level of a search.
struct hint_trail_entry {
    uint32_t hw_index;
    uint32_t en_hw_index;
};
static_assert(sizeof(hint_trail_entry) == 8);
