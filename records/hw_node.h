// The hardware node image and the hardware index, and how to decode them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "records/context.h"
#include "records/tree.h"

enum phu_node_type : uint8_t {
    PHU_NODE_NONE = 0,
    PHU_NODE_SN = 1,
    PHU_NODE_SKIP = 2,
    PHU_NODE_EN = 3
};

/// Image of one hardware node. Search and skip nodes: child bitmap, control word; end nodes: mask.
struct phu_node {
    uint8_t low[8];       // 0: ext_bitmap, or mask_bitmap bits 0-63
    uint8_t high[8];      // 8: control word, or mask_bitmap bits 64-127
    uint8_t type_byte;    // 16: bits 0-1 node type
};
static_assert(sizeof(phu_node) == 17);
static_assert(alignof(phu_node) == 1);
static_assert(offsetof(phu_node, high) == 8);
static_assert(offsetof(phu_node, type_byte) == 16);

/// Parts of a hardware index: bits 24-31 stride level, 16-23 bank, 0-15 node.
constexpr uint32_t hw_index_level(uint32_t hw_index) {
    return hw_index >> 24;
}
constexpr uint32_t hw_index_bank(uint32_t hw_index) {
    return (hw_index >> 16) & 0xff;
}
constexpr uint32_t hw_index_node(uint32_t hw_index) {
    return hw_index & 0xffff;
}
/// Bank and node, which name a hardware node; the level follows from the bank.
inline constexpr uint32_t hw_index_place_mask = 0xffffff;

constexpr uint32_t hw_index_make(uint32_t level, uint32_t bank_id, uint32_t node_id) {
    return (level & 0xff) << 24 | (bank_id & 0xff) << 16 | (node_id & 0xffff);
}

inline uint64_t phu_load64(const uint8_t *bytes) {
    uint64_t value = 0;
    memcpy(&value, bytes, sizeof value);
    return value;
}

inline uint64_t phu_node_low(const phu_node &node) {
    return phu_load64(node.low);
}
inline uint64_t phu_node_high(const phu_node &node) {
    return phu_load64(node.high);
}
constexpr uint8_t phu_node_type_of(const phu_node &node) {
    return node.type_byte & 3;
}

/// True for nodes that have children: search nodes and skip nodes.
constexpr bool phu_node_branches(const phu_node &node) {
    return phu_node_type_of(node) == PHU_NODE_SN || phu_node_type_of(node) == PHU_NODE_SKIP;
}

inline uint64_t phu_ext_bitmap(const phu_node &node) {
    return phu_node_low(node);
}
inline mask128 phu_mask_bitmap(const phu_node &node) {
    return {phu_node_low(node), phu_node_high(node)};
}

/// Number of prefix lengths in an end node's mask, 0 to 128.
inline uint32_t phu_mask_ones(const phu_node &node) {
    return static_cast<uint32_t>(__builtin_popcountll(phu_node_low(node)) +
                                 __builtin_popcountll(phu_node_high(node)));
}

/// Fields of the control word of a search or skip node.
constexpr uint32_t phu_word_c_ptr(uint64_t word) {
    return word & 0xffffff;
}
constexpr uint32_t phu_word_bmsf(uint64_t word) {
    return (word >> 24) & 0xff;
}
constexpr uint32_t phu_word_me(uint64_t word) {
    return (word >> 32) & 1;
}
constexpr uint32_t phu_word_skip_len(uint64_t word) {
    return (word >> 33) & 0x1f;
}
constexpr uint32_t phu_word_skip_pattern(uint64_t word) {
    return static_cast<uint32_t>(word >> 40);
}
constexpr uint64_t phu_word_make(uint32_t c_ptr, uint32_t bmsf, uint32_t me) {
    return (uint64_t{me} & 1) << 32 | (uint64_t{bmsf} & 0xff) << 24 | (uint64_t{c_ptr} & 0xffffff);
}

/// Child block of a search or skip node.
struct phu_child_block {
    uint32_t bank_id;
    uint32_t first_node;
};

inline constexpr uint32_t phu_c_ptr_large_banks =
    0xa000;    // pointers from here lie in banks 20 on

/// c_ptr is a linear node number over the banks in order.
constexpr phu_child_block phu_c_ptr_decode(uint32_t c_ptr) {
    if (c_ptr < phu_c_ptr_large_banks) {
        return {c_ptr >> 11, c_ptr & 0x7ff};
    }
    return {(c_ptr >> 12) + 10, c_ptr & 0xfff};
}

constexpr uint32_t phu_c_ptr_encode(uint32_t bank_id, uint32_t node_id) {
    return bank_id < uint32_t{phu_small_banks} ? bank_id << 11 | node_id
                                               : (bank_id - 10) << 12 | node_id;
}
static_assert(phu_c_ptr_decode(0x9fff).bank_id == 19 &&
              phu_c_ptr_decode(0x9fff).first_node == 2047);
static_assert(phu_c_ptr_decode(0xa000).bank_id == 20 && phu_c_ptr_decode(0xa000).first_node == 0);
static_assert(phu_c_ptr_encode(39, 4095) == 0x1dfff);

/// Number of nodes in the child block (at most phu_children_max): the match-end node and one node
/// per set bit.
inline constexpr uint32_t phu_children_max = 65;
inline uint32_t phu_child_count(const phu_node &node) {
    return phu_word_me(phu_node_high(node)) +
           static_cast<uint32_t>(__builtin_popcountll(phu_ext_bitmap(node)));
}
