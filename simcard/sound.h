// From record to record without trust: every step asks the card's own notes whether the next record
// is the one that belongs there, and throws `Damaged` when it is not.
#pragma once

#include <cstdint>

#include "simcard/memory.h"
#include "simcard/node.h"
#include "simcard/place.h"

namespace simcard {

/// A record is not what the card has made of it.
struct Damaged {};

[[noreturn]] void refuse_damaged();

[[gnu::always_inline]] inline void demand(bool sound) {
    if (!sound) [[unlikely]] {
        refuse_damaged();
    }
}

/// True for a search node, false for an end node; throws for any other.
inline bool searches(const tn *node) {
    constexpr uint16_t stride = tbm_stride_bits << tn_stride_shift;
    const uint16_t shape = node->tn_flags & (tn_type_mask | 0xf << tn_stride_shift);
    demand(shape == (stride | TN_SEARCH) || shape == (stride | TN_END));
    return shape == (stride | TN_SEARCH);
}

/// The node of a root slot, null when it is empty.
tn *root_node(const Memory &memory, uint32_t slot);

/// What slot `n` of a search node names: one of the card's nodes, but whose is still to be held
/// against a place, the last one's of a way down for all above it.
inline tn *slot_of(const BlockTable &blocks, const tn *node, uint32_t n) {
    const tree_array *array = node->sn_charray;
    demand(blocks.among(Kind::child_array, array));
    tn *const *slots = array->ta_nodes;
    demand(blocks.among(Kind::child_slots, slots, (n + 1) * sizeof(void *)));
    demand(blocks.among(Kind::node, slots[n]));
    return slots[n];
}

/// The same for a child for a chunk that the bitmap names, and for the internal node that a search
/// node claims.
inline tn *child_of(const BlockTable &blocks, const tn *node, uint32_t chunk) {
    return slot_of(blocks, node, ones_below(node->sn_ebmap, chunk) + (has_inode(node) ? 1 : 0));
}
inline tn *inode_of(const BlockTable &blocks, const tn *node) {
    return slot_of(blocks, node, 0);
}

/// The leaf at a position that the bitmap of a node or internal node names.
leaf *leaf_of(const BlockTable &blocks, const tn *holder, uint32_t place, uint32_t position);

/// The parts of a node: a search node's slots and internal node are readable, and no more than
/// that.
struct NodeParts {
    NodeParts(const BlockTable &blocks, tn *node, uint32_t place);

    tn *const *slots = nullptr;    // of the children of a search node
    tn *holder = nullptr;          // node with the internal prefixes, null without any
    uint32_t seal = 0;             // of all this and of the place
};

/// A node whose parts are what the tree has made of them. Its children and leaves are yet to be
/// asked for.
struct SoundNode {
    SoundNode(const Memory &memory, tn *node, uint32_t place);

    [[nodiscard]] tn *child(const BlockTable &blocks, uint32_t chunk) const {
        tn *found = slots[ones_below(node->sn_ebmap, chunk)];
        demand(blocks.holds(Kind::node, found, place_below(place, chunk)));
        return found;
    }
    /// Throws unless the leaf array, if there is one, is what the tree has made of it, too.
    void demand_leaves(const Memory &memory) const;

    /// The leaf at a position of the bitmap, null without one. Throws unless the leaf array is what
    /// the tree has made of it.
    [[nodiscard]] leaf *leaf_at(const Memory &memory, uint32_t position) const;

    [[nodiscard]] leaf_array *leaves() const { return holder->in_lfarray; }
    [[nodiscard]] uint64_t bitmap() const { return holder == nullptr ? 0 : holder->in_ibmap; }
    /// Groups that have children.
    [[nodiscard]] uint64_t groups() const { return slots == nullptr ? 0 : node->sn_ebmap; }

    tn *node;
    uint32_t place;
    tn *const *slots;
    tn *holder;
};

/// Seals the parts of a node, and its leaves, after a change.
void seal_node(Memory &memory, tn *node, uint32_t place);

}    // namespace simcard
