// Accessors of the tree records: bit strings, masks, node kinds, child slots, leaves.
// A node or an array handed in has been asked for (readable_memory); what its pointers name is
// asked for here, and what cannot be read counts as absent.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/export.h"
#include "records/key_bits.h"
#include "records/tree.h"
#include "reply/unreadable.h"
#include "shm/readable_memory.h"
#include "tbm/prefetch.h"

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

/// Slots of a node's child array at one moment: the real children are first to end - 1, an internal
/// node stands in slot 0 when first is 1. `array` is null where the node has none. An array that
/// cannot be read, or claims more slots than a node can have, is `fault`; it has no entries.
struct child_slots {
    const tree_array *array = nullptr;
    tn **nodes = nullptr;
    int first = 0;
    int end = 0;
    const void *fault = nullptr;
    uint16_t flags = 0;    // tn_flags at that moment

    /// True when they are still the node's, so that they need not be asked for again.
    [[nodiscard]] bool stand(const tn *node) const {
        return nodes != nullptr && array == current(node->sn_charray) &&
               flags == current(node->tn_flags) && nodes == current(array->ta_nodes) &&
               end - first == current(array->ta_nnodes);
    }
};

inline constexpr int child_slots_max = 1025;    // of the largest stride, with an internal node

/// The type is looked at after the pointer: a node that changes meanwhile to INTERN or END, which
/// keep their leaves in that place, has none.
[[gnu::always_inline]] inline child_slots tn_child_slots(const tn *node) {
    child_slots slots;
    slots.array = current(node->sn_charray);
    const uint16_t flags = current(node->tn_flags);
    slots.flags = flags;
    const uint32_t type = flags & tn_type_mask;
    if (slots.array == nullptr || type == TN_INTERN || type == TN_END) {
        return {};
    }
    if (!readable_memory::holds(slots.array)) {
        slots.fault = slots.array;
        return slots;
    }
    const int before = current(slots.array->ta_nnodes);
    tn **nodes = current(slots.array->ta_nodes);
    const int after = current(slots.array->ta_nnodes);    // the slots hold the smaller number
    const int first = (flags & tn_inode_flag) != 0 ? 1 : 0;
    const int end = first + std::min(before, after);
    const int last = std::max(first, end);
    if (nodes == nullptr || last == 0) {
        return slots;
    }
    if (last > child_slots_max) {
        slots.fault = slots.array;
    } else if (!readable_memory::holds_slots(nodes, last)) {
        slots.fault = nodes;
    } else {
        slots.nodes = nodes;
        slots.first = first;
        slots.end = end;
    }
    return slots;
}

/// The node that a slot names now; null when it is empty or what it names cannot be read.
inline tn *readable_node(tn *const &slot) {
    tn *node = current(slot);
    return readable_memory::holds(node) ? node : nullptr;
}

/// True when a record that can be read also looks like a node. Asked where it is doubtful that a
/// slot holds nodes: below a node of no known type, and behind an array's count.
inline bool looks_like_node(const tn *node) {
    const uint16_t flags = current(node->tn_flags);
    const uint32_t stride = (flags >> tn_stride_shift) & 0xf;
    return (flags & tn_type_mask) <= TN_END && stride >= 6 && stride <= 10;
}

/// The node in slot 0 of a node with the inode flag; null without one that can be read.
inline tn *slot_0_inode(const tn *node, const child_slots &children) {
    tn *inode = children.first == 1 ? readable_node(children.nodes[0]) : nullptr;
    return inode == nullptr || tn_is_search(node) || looks_like_node(inode) ? inode : nullptr;
}

/// The same; names a node in slot 0 that cannot be read.
inline tn *slot_0_inode_named(const tn *node, const child_slots &children) {
    tn *inode = slot_0_inode(node, children);
    if (inode == nullptr && children.first == 1) {
        const tn *stored = current(children.nodes[0]);
        if (stored != nullptr && !readable_memory::holds(stored)) {
            report_unreadable(stored);
        }
    }
    return inode;
}

/// Calls visit(child, slot, position) for every real child that can be read; position is the set
/// bit of sn_ebmap that the slot stands for, one bit per slot.
template <typename Visit>
inline void for_each_child(const tn *node, const child_slots &children, const Visit &visit) {
    int position = -1;
    for (int slot = children.first; slot < children.end; ++slot) {
        position = sn_ebmap_next(node, position);
        if (slot + 1 < children.end) {
            prefetch_node(children.nodes[slot + 1]);
        }
        if (tn *child = readable_node(children.nodes[slot]); child != nullptr) {
            visit(child, slot, position);
        }
    }
}

/// Address of the root slot of a key; null when the root table does not reach that far or cannot be
/// read.
tn *const *tbm_root_slot(const tbm_handle_record *handle, const uint8_t *key);

/// Slot of a chunk as it is at one moment.
struct tn_slot {
    tn **at;         // null for none
    tn *child;       // what it holds: null, or an address that need not be readable
    bool counted;    // the slot lies inside the array's count
};

/// Slot of chunk c of a search node with stride s; none when the node has no child array that can
/// be read there or s lies outside 6 to 10. Does not test the node's bitmap.
tn_slot tn_child_slot(const tn *search_node, uint32_t chunk, uint32_t stride);

/// The child in a slot when it can be followed: it can be read and, behind the count, looks like a
/// node. Otherwise null.
inline tn *tn_slot_node(const tn_slot &slot) {
    return readable_memory::holds(slot.child) && (slot.counted || looks_like_node(slot.child))
               ? slot.child
               : nullptr;
}

/// Internal node: an end node itself, slot 0 of a search node with the inode flag, else null.
tn *tn_inode(const tn *node);

/// Leaf array of an internal node as stored. Null for no node and for a SEARCH node, which keeps
/// its children in that place.
inline leaf_array *inode_leaves(const tn *inode) {
    if (inode == nullptr || tn_is_search(inode)) {
        return nullptr;
    }
    leaf_array *array = current(inode->in_lfarray);
    return (current(inode->tn_flags) & tn_type_mask) == TN_SEARCH ? nullptr : array;
}

/// Leaves that an array holds at one moment. `count` is the number that it claims, 0 or more;
/// without slots `leaves` is null all the same. An array that cannot be read, or claims more than a
/// node can hold, is `fault`; it has no entries.
struct leaf_slots {
    leaf **leaves = nullptr;
    int count = 0;
    const void *fault = nullptr;

    /// Leaf i (0 to count - 1); null for none and when it cannot be read.
    [[nodiscard]] const leaf *at(int i) const {
        const leaf *entry = stored(i);
        return readable_memory::holds(entry) ? entry : nullptr;
    }
    /// The same as stored.
    [[nodiscard]] leaf *stored(int i) const {
        return leaves == nullptr ? nullptr : current(leaves[i]);
    }
    /// True when they are still the array's, so that they need not be asked for again.
    [[nodiscard]] bool stand(const leaf_array *array) const {
        return leaves != nullptr && leaves == current(array->la_leaves) &&
               count == current(array->la_nnodes);
    }
};
[[gnu::always_inline]] inline leaf_slots leaf_array_slots(const leaf_array *array) {
    if (array == nullptr) {
        return {};
    }
    if (!readable_memory::holds(array)) {
        return {.fault = array};
    }
    const int before = current(array->la_nnodes);
    leaf **leaves = current(array->la_leaves);
    const int count = std::max(std::min(before, current(array->la_nnodes)), 0);
    if (count > readable_memory::slots_max) {
        return {.fault = array};
    }
    if (leaves != nullptr && count > 0 && !readable_memory::holds_slots(leaves, count)) {
        return {.fault = leaves};
    }
    return {leaves, count, nullptr};
}

/// Count of a leaf array as stored, 0 when it cannot be read.
inline int leaf_array_count(const leaf_array *array) {
    return readable_memory::holds(array) ? current(array->la_nnodes) : 0;
}

/// Slot of an array, whatever the array's count; null when there is none that can be read.
leaf **leaf_array_slot(const leaf_array *array, uint32_t offset);

/// int_mask and ext_mask with position bmsf added: the mask the node's end node must carry.
inline mask128 tn_expected_mask(const tn *node) {
    mask128 mask = node->int_mask | node->ext_mask;
    mask_set_from_left(mask, node->bmsf);
    return mask;
}

/// What a walk does about records that it needs and cannot read.
enum class unreadable { silent, named };

/// Calls visit(leaf) for every leaf of an array that can be read.
template <typename Visit>
[[gnu::always_inline]] inline void for_each_leaf(const leaf_slots &slots, unreadable faults,
                                                 const Visit &visit) {
    if (slots.fault != nullptr && faults == unreadable::named) {
        report_unreadable(slots.fault);
    }
    const int count = slots.leaves == nullptr ? 0 : slots.count;
    for (int i = 0; i < count; ++i) {
        const leaf *entry = current(slots.leaves[i]);
        if (readable_memory::holds(entry)) {
            visit(entry);
        } else if (entry != nullptr && faults == unreadable::named) {
            report_unreadable(entry);
        }
    }
}

/// Set of prefix lengths of a leaf array; length 0 and lengths above 128 set nothing.
inline mask128 leaf_array_length_mask(const leaf_array *array, unreadable faults) {
    mask128 mask{};
    for_each_leaf(leaf_array_slots(array), faults, [&](const leaf *entry) {
        mask_set_from_left(mask, (entry->key_bits_used - tbm_header_bits) & 0xff);
    });
    return mask;
}
