// The tree walker that the whole-tree commands are built on, and the reverse lookup.
#pragma once

#include <cstdint>
#include <span>

#include "phu/records.h"
#include "tbm/records.h"

/// Called once per node. `parent` is null for a root and for the start node of a walk.
using phu_tree_visitor = void (*)(tn *node, void *state, uint32_t is_root, tn *parent);

/// Visits every node depth first in pre-order, the internal node of a search node before its
/// children; null slots are passed over. With a start node visits its subtree alone, marked as a
/// root when it stands in a root slot. Derives the contexts afresh; without a tree sends
/// "NULL tbm_handle\n" and visits nothing. A tree deeper than 64 levels ends the walk (see
/// depth_guard).
void phu_tree_walk(void *state, phu_tree_visitor visitor, tn *start);

/// First node in pre-order whose hw_index has the same bits 0-23, internal nodes and nodes without
/// a hardware node (hw_index 0) excepted; null when there is none. Without a tree sends "NULL
/// tbm_handle\n".
tn *phu_find_tn_by_hw_index(uint32_t hw_index);

/// Owners wanted for `count` consecutive indexes from `first` on; owners[i] is filled with what
/// phu_find_tn_by_hw_index yields for the index plus i, but for its line.
struct hw_index_range {
    uint32_t first;
    uint32_t count;
    tn **owners;
};

/// Fills all ranges in one pass over the tree.
void phu_find_owners(std::span<const hw_index_range> ranges);
