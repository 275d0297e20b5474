// The tree-bitmap tree: structure only. Masks and hints are the mirror's.
#pragma once

#include <cstdint>

#include "simcard/memory.h"
#include "simcard/node.h"
#include "simcard/prefix.h"
#include "simcard/sound.h"

namespace simcard {

constexpr int tree_levels = 23;    // roots are level 0; a host IPv6 prefix ends at level 22

/// Key bit position at which a level's chunk starts.
constexpr uint32_t depth_of(int level) {
    return tbm_root_bits + tbm_stride_bits * static_cast<uint32_t>(level);
}

/// Bit position of an internal prefix of `length` (0 to 5) bits.
constexpr uint32_t internal_position(uint32_t length, uint32_t chunk) {
    return (1U << length) - 1 + (chunk >> (tbm_stride_bits - length));
}

/// Nodes from a root down to the node where a prefix is stored.
struct Path {
    tn *node[tree_levels];
    uint32_t place[tree_levels];
    uint8_t group[tree_levels];    // the key's chunk at each node
    int count = 0;

    void push(tn *next, uint32_t its_place, uint32_t chunk) {
        place[count] = its_place;
        group[count] = static_cast<uint8_t>(chunk);
        node[count++] = next;
    }
};

/// Every function throws `Damaged` when it meets a record that it cannot trust; what it has changed
/// until then the memory takes back.
class Tree {
public:
    explicit Tree(Memory &memory) : memory_(memory) {}

    /// Lays out handle, root table and the node of root slot 0.
    void set_up();

    /// Leaf of exactly this key, or null; the path leads to the deepest node on its way.
    leaf *find(const Key &key, Path &path) const;

    /// Adds an absent key; gives its leaf and the path to its node. There must be room for
    /// `insert_room` bytes. A damaged record is met before anything changes.
    leaf *insert(const Key &key, Path &path);
    static constexpr size_t insert_room = 1U << 20;

    /// Called for a node of a level that is about to leave the tree.
    using Forget = void (*)(void *context, tn *node, int level);

    /// Removes the leaf that `find` has just found on a path, then every node of the path that
    /// became empty (the node of root slot 0 stays); the path keeps what is left.
    void remove(const Key &key, Path &path, Forget forget, void *context);

private:
    bool descend(const Key &key, Path &path) const;
    void demand_room_at(const Key &key, const Path &path, bool reached) const;
    void grow_root(const Key &key, Path &path);
    void grow_child(const Key &key, Path &path);
    tn *new_node(const Key &key, uint32_t place);
    void add_child(tn *node, uint32_t group, tn *child);
    void become_search(tn *node, uint32_t place);
    void drop_child(const SoundNode &at, uint32_t group);
    void become_end(tn *node);
    void add_leaf(tn *holder, uint32_t position, leaf *entry);
    leaf *take_leaf(tn *holder, uint32_t position);
    tn *internal_for_insert(tn *node, uint32_t place);
    void drop_internal(tn *node);

    template <typename Record>
    Record **slots_insert(Record **slots, int count, int at, Record *value);
    template <typename Record>
    Record **slots_remove(Record **slots, int count, int at);

    Memory &memory_;
};

}    // namespace simcard
