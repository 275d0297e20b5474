// The tree walker that the whole-tree commands are built on.
#pragma once

#include <cstdint>

#include "records/tree.h"
#include "reply/refusals.h"
#include "tbm/descent.h"

template <auto visit, typename State>
struct phu_tree_visitor : plain_visitor {
    static constexpr descent_rules rules{
        .internal_nodes = true, .prefetch = true, .faults = unreadable::named};

    State &state;

    [[gnu::always_inline]] way at(tn *node, const tree_place &place, const handed &) const {
        visit(node, state, place.root ? 1 : 0, place.parent);
        return way::down;
    }
};

/// Calls visit(node, state, is_root, parent) for every node depth first in pre-order, the internal
/// node of a search node before its children; null slots are passed over. With a start node, which
/// must have been asked for, visits its subtree alone, marked as a root when it stands in a root
/// slot. `parent` is null for a root and for the start. Derives the contexts afresh; without a tree
/// sends "NULL tbm_handle\n" and visits nothing. Names what cannot be read, and ends where the
/// tree has no end (see depth_guard).
template <auto visit, typename State>
void phu_tree_walk(State &state, tn *start) {
    const tbm_handle_record *handle = tbm_handle_derive_or_report();
    if (handle == nullptr) {
        return;
    }
    phu_tree_visitor<visit, State> calls{{}, state};
    tree_descent descent(calls);
    descend_tree(descent, tbdb_root_of(handle), start);
}
