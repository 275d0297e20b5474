// What the mirror keeps in tree nodes: its own notes in reserved bytes, and the copies of the
// hardware nodes.
#pragma once

#include <algorithm>
#include <cstring>

#include "records/hw_node.h"
#include "simcard/banks.h"
#include "simcard/length_set.h"
#include "simcard/seal.h"
#include "simcard/tree.h"

namespace simcard {

/// Bit g: the subtree of child g holds a leaf that covers one of its nodes.
inline uint64_t nested_bitmap(const tn *node) {
    return phu_load64(node->reserved128);
}
inline void set_nested_bitmap(tn *node, uint64_t bitmap) {
    memcpy(node->reserved128, &bitmap, sizeof bitmap);
}

/// Children left unhinted although the tree asks for it.
inline uint8_t unhinted_children(const tn *node) {
    return node->reserved106[0];
}
inline void set_unhinted_children(tn *node, uint8_t count) {
    node->reserved106[0] = count;
}

/// Some of them for lack of bank room.
inline bool is_starved(const tn *node) {
    return node->reserved106[1] != 0;
}
inline void set_starved(tn *node, bool starved) {
    node->reserved106[1] = starved ? 1 : 0;
}

/// Some leaf at or below the node covers another node at or below it.
inline bool is_nested(const tn *node) {
    return node->reserved106[2] != 0;
}
inline void set_nested(tn *node, bool nested) {
    node->reserved106[2] = nested ? 1 : 0;
}

/// What the card trusts of a node's hardware: state, places, copies and notes; 0 for a new node.
inline uint32_t hardware_seal(const tn *node) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(node);
    const uint64_t words[] = {
        uint64_t{node->hw_index} << 32 | node->en_hw_index,
        uint64_t{node->hint_state} << 16 | node->reserved106[0] | node->reserved106[1] << 8,
        node->hint_ebmap,
        node->hint_sn_bitmap,
        node->hint_sn_word,
        phu_load64(bytes + offsetof(tn, hint_sn_flags)),
        phu_load64(bytes + offsetof(tn, hint_sn_flags) + 8),
        phu_load64(bytes + offsetof(tn, hint_en_flags) - 7),
    };
    Seal seal;
    for (const uint64_t word : words) {
        seal.add(word);
    }
    return seal.value();
}

/// Hardware child block of a node; no nodes when it has none.
inline Block child_block(const tn *node) {
    if (node->hint_state != HINT_SEARCH && node->hint_state != HINT_SEARCH_END) {
        return {};
    }
    const phu_child_block place = phu_c_ptr_decode(phu_word_c_ptr(node->hint_sn_word));
    return {place.bank_id, place.first_node,
            phu_word_me(node->hint_sn_word) +
                static_cast<uint32_t>(__builtin_popcountll(node->hint_ebmap))};
}

/// Stores ext_mask and the two counts; int_mask is in place.
inline void set_masks(tn *node, const mask128 &ext) {
    node->ext_mask = ext;
    node->ext_mask_count = static_cast<uint8_t>(lengths(ext));
    node->int_mask_count = static_cast<uint8_t>(lengths(node->int_mask));
}

/// Mask of an end node in hardware form: bit (family maximum - length).
inline void store_end_mask(tn *node, bool present) {
    mask128 mask{};
    if (present) {
        mask = node->int_mask | node->ext_mask;
        add_length(mask, node->bmsf);
        if (node->key_type == 0) {
            mask = {mask.high >> 32, 0};
        }
    }
    memcpy(node->hint_en_mask, &mask.low, sizeof mask.low);
    memcpy(node->hint_en_mask + sizeof mask.low, &mask.high, sizeof mask.high);
    node->hint_en_flags = present ? PHU_NODE_EN : PHU_NODE_NONE;
}

/// Stores the copies of the node's hardware nodes for its state and child block.
inline void store_copies(tn *node, int level, const Block &block) {
    const bool searches = node->hint_state != HINT_END;
    const bool match_end = node->hint_state == HINT_SEARCH_END;
    store_end_mask(node, match_end || !searches);
    node->hint_sn_bitmap = node->hint_ebmap;
    node->hint_sn_word = searches ? phu_word_make(phu_c_ptr_encode(block.bank, block.first),
                                                  node->bmsf, match_end ? 1 : 0)
                                  : 0;
    node->hint_sn_flags = searches ? PHU_NODE_SN : PHU_NODE_NONE;
    node->en_hw_index =
        match_end ? hw_index_make(static_cast<uint32_t>(level) + 1, block.bank, block.first) : 0;
    node->tn_nodes = static_cast<uint8_t>(block.nodes);
}

/// Leaves a node without hardware.
inline void clear_hardware(tn *node) {
    node->hint_state = HINT_INIT;
    node->hint_ebmap = 0;
    node->hint_sn_bitmap = 0;
    node->hint_sn_word = 0;
    node->hint_sn_flags = PHU_NODE_NONE;
    store_end_mask(node, false);
    node->hw_index = 0;
    node->en_hw_index = 0;
    node->tn_nodes = 0;
    node->par_bl_larray = nullptr;
    node->par_bl_offset = 0;
    node->par_bl_len = 0;
}

}    // namespace simcard
