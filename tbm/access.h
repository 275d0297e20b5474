// Accessors of the tree records: bit strings, masks, node kinds, child slots.
// Pure functions of the records; none of them checks an address.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/export.h"
#include "tbm/records.h"

inline constexpr int tree_node_types = 5;
inline constexpr int hint_states = 5;

/// Node type names, index 4 for any type above 3. Exported, never changed.
extern "C" PLU_EXPORT const char *const tree_node_type[tree_node_types];
/// Hint state names of the listings, index 4 for any code above 3. Exported, never changed.
extern "C" PLU_EXPORT const char *const hint_state_str[hint_states];

/// Hint state name of the verification messages.
const char *hint_state_label(uint8_t code);

/// Bit `position` of a bit string, 0 or 1.
inline uint32_t bit_test(const void *bits, uint32_t position) {
    const auto *bytes = static_cast<const uint8_t *>(bits);
    return (bytes[position / 8] >> (position % 8)) & 1U;
}

/// Number of set bits among positions 0 to n - 1 of a bit string.
uint32_t bit_count_below(const void *bits, uint32_t n);

/// Set bits of a 64-bit bitmap below position n (0 to 64).
inline uint32_t bitmap_count_below(uint64_t bitmap, uint32_t n) {
    const uint64_t below = n >= 64 ? ~uint64_t{0} : (uint64_t{1} << n) - 1;
    return static_cast<uint32_t>(__builtin_popcountll(bitmap & below));
}

/// Smallest set bit above `position` (-1 to 63) of a bitmap; `position` itself when there is none.
inline int bitmap_next(uint64_t bitmap, int position) {
    if (position >= 63) {
        return position;
    }
    const uint64_t above = bitmap & (~uint64_t{0} << (position + 1));
    return above == 0 ? position : __builtin_ctzll(above);
}

inline int sn_ebmap_next(const tn *node, int position) {
    return bitmap_next(node->sn_ebmap, position);
}

/// Adds position k from the left when 1 <= k <= 128; any other k changes nothing.
inline void mask_set_from_left(mask128 &mask, uint32_t k) {
    if (k < 1 || k > 128) {
        return;
    }
    const uint32_t bit = 128 - k;
    (bit >= 64 ? mask.high : mask.low) |= uint64_t{1} << (bit % 64);
}

/// The n key bits from bit p on, most significant first. Reads key bytes p div 8 to p div 8 + 2;
/// n + (p mod 8) must not exceed 24.
inline uint32_t key_bits_extract(const uint8_t *key, uint32_t p, uint32_t n) {
    const uint8_t *at = key + p / 8;
    const uint32_t window = uint32_t{at[0]} << 16 | uint32_t{at[1]} << 8 | at[2];
    return (window >> (24 - p % 8 - n)) & ((1U << n) - 1);
}

inline uint32_t tn_type_of(const tn *node) {
    return node->tn_flags & tn_type_mask;
}
inline bool tn_is_search(const tn *node) {
    return tn_type_of(node) == TN_SEARCH;
}
inline bool tn_is_end(const tn *node) {
    return tn_type_of(node) == TN_END;
}
inline bool tn_is_intern(const tn *node) {
    return tn_type_of(node) == TN_INTERN;
}
inline uint32_t tn_inode_bit(const tn *node) {
    return (node->tn_flags & tn_inode_flag) != 0 ? 1 : 0;
}
inline uint32_t tn_stride(const tn *node) {
    return (node->tn_flags >> tn_stride_shift) & 0xf;
}

/// log2 of the child slots of one group of a search node; strides outside 6 to 10, for which no
/// slot arithmetic is defined, count as 6.
inline uint32_t tn_group_shift(const tn *node) {
    const uint32_t stride = tn_stride(node);
    return stride < 6 || stride > 10 ? 0 : stride - 6;
}

/// Name of a node's type; types above 3 read "INVALID".
inline const char *tn_type_name(const tn *node) {
    const uint32_t type = tn_type_of(node);
    return tree_node_type[type > 3 ? 4 : type];
}

/// A field as it is now: the library may change it at any moment.
template <typename Field>
inline Field current(const Field &field) {
    return *static_cast<const volatile Field *>(&field);
}

/// Child array of a search node; none for INTERN and END nodes, which keep their leaves in that
/// place. The type is looked at after the pointer: a node that changes from the one to the other
/// meanwhile has none.
inline tree_array *tn_child_array(const tn *node) {
    tree_array *array = current(node->sn_charray);
    const uint32_t type = current(node->tn_flags) & tn_type_mask;
    return type == TN_INTERN || type == TN_END ? nullptr : array;
}

/// Number of children of a search node, 0 without a child array. May be negative in a damaged
/// record, as stored.
inline int tn_child_count(const tn *node) {
    const tree_array *array = tn_child_array(node);
    return array == nullptr ? 0 : array->ta_nnodes;
}

/// All slots that a command may read of a search node's child array at one moment: an internal-node
/// slot counts when the node or the array claims one. None without slots.
struct array_slots {
    tn *const *nodes;
    int count;
};
inline array_slots tree_array_slots(const tree_array *array, const tn *search_node) {
    if (array == nullptr) {
        return {nullptr, 0};
    }
    const bool inode = tn_inode_bit(search_node) != 0 || current(array->ta_inode_exists) != 0;
    const int before = current(array->ta_nnodes);
    tn *const *nodes = current(array->ta_nodes);
    const int after = current(array->ta_nnodes);    // the slots hold the smaller number
    return {nodes, nodes == nullptr ? 0 : std::max(std::min(before, after), 0) + inode};
}

/// Slots of a search node's child array: the real children are first to end - 1, an internal node
/// stands in slot 0 when first is 1. All zero without an array.
struct child_slots {
    tn **nodes;
    int first;
    int end;
};
inline child_slots tn_child_slots(const tn *search_node) {
    const tree_array *array = tn_child_array(search_node);
    if (array == nullptr) {
        return {nullptr, 0, 0};
    }
    const int first = static_cast<int>(tn_inode_bit(search_node));
    const int before = current(array->ta_nnodes);
    tn **nodes = current(array->ta_nodes);
    const int after = current(array->ta_nnodes);    // the slots hold the smaller number
    return nodes == nullptr ? child_slots{}
                            : child_slots{nodes, first, first + std::min(before, after)};
}

/// Address of the root slot of a key; null when the root table does not reach that far.
tn **tbm_root_slot(const tbm_handle_record *handle, const uint8_t *key);

/// Address of the slot of chunk c of a search node with stride s; null when the node has no child
/// array, the array is shorter than the bitmap says, or s lies outside 6 to 10. Does not test the
/// node's bitmap.
tn **tn_child_slot(const tn *search_node, uint32_t chunk, uint32_t stride);

/// Internal node: an end node itself, slot 0 of a search node with the inode flag, else null.
tn *tn_inode(const tn *node);

/// Leaf array of an internal node; null for no node and for a node that is none (a search node
/// keeps its children in that place).
inline leaf_array *inode_leaves(const tn *inode) {
    const auto holds_leaves = [inode] {
        const uint32_t type = current(inode->tn_flags) & tn_type_mask;
        return type == TN_INTERN || type == TN_END;
    };
    if (inode == nullptr || !holds_leaves()) {
        return nullptr;
    }
    leaf_array *array = current(inode->in_lfarray);
    return holds_leaves() ? array : nullptr;
}

/// Number of leaves of an array, 0 for none or a negative count.
inline int leaf_count(const leaf_array *array) {
    return array == nullptr || array->la_nnodes < 0 ? 0 : array->la_nnodes;
}

/// Leaves that an array holds at one moment; none without slots.
struct leaf_slots {
    leaf **leaves;
    int count;
};
inline leaf_slots leaf_array_slots(const leaf_array *array) {
    if (array == nullptr) {
        return {nullptr, 0};
    }
    const int before = current(array->la_nnodes);
    leaf **leaves = current(array->la_leaves);
    const int after = current(array->la_nnodes);
    return {leaves, leaves == nullptr ? 0 : std::min(before, after)};
}

/// int_mask and ext_mask with position bmsf added: the mask the node's end node must carry.
inline mask128 tn_expected_mask(const tn *node) {
    mask128 mask = node->int_mask | node->ext_mask;
    mask_set_from_left(mask, node->bmsf);
    return mask;
}

/// Set of prefix lengths of a leaf array; length 0 and lengths above 128 set nothing.
mask128 leaf_array_length_mask(const leaf_array *array);
