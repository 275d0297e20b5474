// The tree walker that the whole-tree commands are built on.
#pragma once

#include <cstdint>

#include "records/tree.h"

/// Called once per node. `parent` is null for a root and for the start node of a walk.
using phu_tree_visitor = void (*)(tn *node, void *state, uint32_t is_root, tn *parent);

/// Visits every node depth first in pre-order, the internal node of a search node before its
/// children; null slots are passed over. With a start node, which must have been asked for, visits
/// its subtree alone, marked as a root when it stands in a root slot. Derives the contexts afresh;
/// without a tree sends "NULL tbm_handle\n" and visits nothing. Names what cannot be read, and
/// ends where the tree has no end (see depth_guard).
void phu_tree_walk(void *state, phu_tree_visitor visitor, tn *start);
