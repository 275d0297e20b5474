// The one way down the tree: roots, internal nodes, children, and what ends a branch: a node
// without children, a slot that is empty or names no node, memory that cannot be read, the bounds
// of depth_guard. Pre-order, depth first. A visitor says what it does at a node and what it hands
// down.
#pragma once

#include <algorithm>

#include "records/tree.h"
#include "reply/reply.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"

/// Where the descent goes from a node: below it, on to the next one, nowhere any more.
enum class way { down, past, stop };

/// A node's place on the way.
struct tree_place {
    tn *parent;    // null for a root and for the start
    int level;     // nodes above it on the way
    int slot;      // in the root table or in the parent's child array
    bool root;
    bool internal;    // in slot 0 of a parent with the inode flag
};

/// What a descent does of all that it could.
struct descent_rules {
    /// Visits the internal node of a node, before its children.
    bool internal_nodes = false;
    /// Goes below nodes of no known type, too, as far as what hangs there looks like nodes.
    bool odd_types = false;
    /// Asks for the next child while it visits one: worth it where much is done at a node.
    bool prefetch = false;
    /// Names what cannot be read.
    unreadable faults = unreadable::silent;
};

/// A visitor that hands nothing down and takes every branch as it is.
struct plain_visitor {
    struct handed {};
    struct kept {};
    static bool into(tn *, const tree_place &, const handed &, const child_slots &, kept &) {
        return true;
    }
    static handed below(const kept &, int) { return {}; }
};

/// A visitor has
///   static constexpr descent_rules rules;
///   struct handed: what a node gets from the one above it;
///   struct kept: what a node keeps while its children are visited;
///   way at(tn *, const tree_place &, const handed &): called for every node; may send lines;
///   bool into(tn *, const tree_place &, const handed &, const child_slots &, kept &): called for a
///     node that may have children, with its slots; false ends the branch;
///   handed below(kept &, int position): what the child at a position is handed;
/// and may have
///   void leave(tn *, kept &): called when all below a node that into() took has been visited;
///   bool admits(const tn *): false for an address that is passed over before it is asked for.
template <typename Visitor>
class tree_descent {
public:
    using handed = typename Visitor::handed;
    using kept = typename Visitor::kept;

    explicit tree_descent(Visitor &visitor) : visitor_(visitor) {}

    depth_guard guard;

    /// Visits every root and what hangs below it; roots are handed `from_above`.
    void from_roots(const root_table &root, const handed &from_above = {}) {
        if (root.fault != nullptr) {
            name(root.fault);
        }
        for (int slot = 0; slot < root.count && !guard.stopped(); ++slot) {
            if (tn *node = followed(root.slots[slot], false); node != nullptr) {
                start_at(node, {nullptr, 0, slot, true, false}, from_above);
            }
        }
    }

    /// Visits a node that was asked for, and what hangs below it.
    void from(tn *start, bool is_root, const handed &from_above = {}) {
        start_at(start, {nullptr, 0, 0, is_root, false}, from_above);
    }

private:
    static constexpr descent_rules rules = Visitor::rules;

    static void name(const void *record) {
        if constexpr (rules.faults == unreadable::named) {
            report_unreadable(record);
        }
    }

    /// The node that a slot names now, null when it is passed over.
    tn *followed(tn *const &slot, bool doubtful) {
        tn *node = current(slot);
        if (node == nullptr) {
            return nullptr;
        }
        if constexpr (requires { visitor_.admits(node); }) {
            if (!visitor_.admits(node)) {
                return nullptr;
            }
        }
        if (!readable_memory::holds(node)) {
            name(node);
            return nullptr;
        }
        return doubtful && !looks_like_node(node) ? nullptr : node;
    }

    [[gnu::noinline]] void start_at(tn *node, const tree_place &place, const handed &from_above) {
        step(node, place, from_above);
    }

    /// Inline below the node above, so that a node without children costs no call.
    [[gnu::always_inline]] void step(tn *node, const tree_place &place, const handed &from_above) {
        if (!guard.enter(place.level, node)) {
            return;
        }
        if (const way next = visitor_.at(node, place, from_above); next != way::down) {
            if (next == way::stop) {
                guard.stop();
            }
            return;
        }
        const uint32_t type = tn_type_of(node);
        if (type == TN_SEARCH || (rules.odd_types && type != TN_INTERN && type != TN_END)) {
            children(node, place, from_above);
        }
    }

    [[gnu::always_inline]] child_slots slots_of(const tn *node) {
        const child_slots slots =
            rules.odd_types || tn_is_search(node) ? tn_child_slots(node) : child_slots{};
        if (slots.fault != nullptr) {
            name(slots.fault);
        }
        return slots;
    }

    void children(tn *node, const tree_place &place, const handed &from_above) {
        child_slots slots = slots_of(node);
        if (rules.prefetch && slots.first < slots.end) {
            prefetch_node(slots.nodes[slots.first]);
        }
        const uint64_t pauses = plu_debug_pauses;
        kept own;
        if (!visitor_.into(node, place, from_above, slots, own)) {
            return;
        }
        if (pauses != plu_debug_pauses && !slots.stand(node)) {
            slots = slots_of(node);
        }
        each_child(node, place.level + 1, slots, own);
        if constexpr (requires { visitor_.leave(node, own); }) {
            if (!guard.stopped()) {
                visitor_.leave(node, own);
            }
        }
    }

    [[gnu::always_inline]] void each_child(tn *node, int level, child_slots &slots, kept &own) {
        const bool doubtful = rules.odd_types && !tn_is_search(node);
        uint64_t pauses = plu_debug_pauses;
        tn **nodes = slots.nodes;
        int first = slots.first;
        int end = slots.end;
        int position = -1;
        for (int slot = rules.internal_nodes ? 0 : first; !guard.stopped(); ++slot) {
            if (pauses != plu_debug_pauses) {    // the library may have changed the node
                pauses = plu_debug_pauses;
                if (!slots.stand(node)) {
                    slots = slots_of(node);
                    nodes = slots.nodes;
                    first = slots.first;
                    end = slots.end;
                }
            }
            if (slot >= end) {
                return;
            }
            const bool internal = slot < first;
            position = internal ? position : sn_ebmap_next(node, position);
            if (rules.prefetch && slot + 1 < end) {
                prefetch_node(nodes[slot + 1]);
            }
            if (tn *child = followed(nodes[slot], doubtful); child != nullptr) {
                step(child, {node, level, slot, false, internal}, visitor_.below(own, position));
            }
        }
    }

    Visitor &visitor_;
};

/// Visits the whole tree, or a start node that was asked for and what hangs below it; the start is
/// a root when it stands in a root slot.
template <typename Visitor>
void descend_tree(tree_descent<Visitor> &descent, const root_table &root, tn *start) {
    if (start == nullptr) {
        descent.from_roots(root);
    } else {
        const auto *end = root.slots + root.count;
        descent.from(start, std::find(root.slots, end, start) != end);
    }
}
