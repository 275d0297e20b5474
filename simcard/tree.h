// The tree-bitmap tree: structure only. Masks and hints are the mirror's.
#pragma once

#include <cstdint>

#include "simcard/memory.h"
#include "simcard/prefix.h"

namespace simcard {

inline constexpr int tree_levels = 23;    // roots are level 0; a host IPv6 prefix ends at level 22

/// Key bit position at which a level's chunk starts.
constexpr uint32_t depth_of(int level) {
    return tbm_root_bits + tbm_stride_bits * static_cast<uint32_t>(level);
}

/// Bit position of an internal prefix of `length` (0 to 5) bits.
constexpr uint32_t internal_position(uint32_t length, uint32_t chunk) {
    return (1U << length) - 1 + (chunk >> (tbm_stride_bits - length));
}

inline uint32_t ones_below(uint64_t bitmap, uint32_t n) {
    return static_cast<uint32_t>(__builtin_popcountll(bitmap & ((uint64_t{1} << n) - 1)));
}
inline bool is_search(const tn *node) {
    return (node->tn_flags & tn_type_mask) == TN_SEARCH;
}
inline bool has_inode(const tn *node) {
    return (node->tn_flags & tn_inode_flag) != 0;
}

/// The node that holds a node's internal prefixes: itself or its slot 0; null when it has none.
inline tn *internal_of(tn *node) {
    if (!has_inode(node)) {
        return nullptr;
    }
    return is_search(node) ? node->sn_charray->ta_nodes[0] : node;
}

inline tn *child_at(const tn *node, uint32_t group) {
    return node->sn_charray
        ->ta_nodes[ones_below(node->sn_ebmap, group) + (has_inode(node) ? 1 : 0)];
}

/// Nodes from a root down to the node where a prefix is stored.
struct Path {
    tn *node[tree_levels];
    uint8_t group[tree_levels];    // the key's chunk at each node
    int count = 0;

    void push(tn *next, uint32_t chunk) {
        group[count] = static_cast<uint8_t>(chunk);
        node[count++] = next;
    }
};

class Tree {
public:
    explicit Tree(Memory &memory) : memory_(memory) {}

    /// Lays out handle, root table and the node of root slot 0.
    void set_up();

    /// Leaf of exactly this key, or null; the path leads to the deepest node on its way.
    leaf *find(const Key &key, Path &path) const;

    /// Adds an absent key. Returns the leaf and the path to its node; null when memory runs out,
    /// which the card rules out by refusing adds while little room is left.
    leaf *insert(const Key &key, Path &path);

    /// Called for a node of a level that is about to leave the tree.
    using Forget = void (*)(void *context, tn *node, int level);

    /// Removes the leaf of a key at the path's last node, then every node of the path that became
    /// empty (the node of root slot 0 stays); the path keeps what is left.
    void remove(const Key &key, Path &path, Forget forget, void *context);

    [[nodiscard]] tree_array &root() const { return memory_.fixed().root; }

private:
    tn *new_node(const Key &key, tn_type type);
    bool add_child(tn *node, uint32_t group, tn *child);
    bool become_search(tn *node);
    void drop_child(tn *node, uint32_t group);
    void become_end(tn *node);
    bool add_leaf(tn *holder, uint32_t position, leaf *entry);
    leaf *take_leaf(tn *holder, uint32_t position);
    tn *internal_for_insert(tn *node);
    void drop_internal(tn *node);

    Memory &memory_;
};

}    // namespace simcard
