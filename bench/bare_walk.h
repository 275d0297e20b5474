// Bare depth-first walks: the least that a command must do to touch the records it judges.
#pragma once

#include <cstdint>

#include "records/context.h"
#include "records/tree.h"

/// What a walk saw; `sum` keeps the compiler from dropping the reads.
struct walk_totals {
    uint64_t nodes = 0;
    uint64_t search_nodes = 0;
    uint64_t internal_nodes = 0;
    uint64_t hw_nodes = 0;
    uint64_t leaf_arrays = 0;
    uint64_t leaves = 0;
    uint64_t covers = 0;    // parent leaf references
    uint64_t reads = 0;     // successful reads of node memory
    uint64_t sum = 0;
};

/// All nodes with their child arrays; of every node the words at its start, in its hardware copies
/// and at its end.
walk_totals walk_nodes(const tree_array &root);

/// The same and the head of every leaf array.
walk_totals walk_leaf_arrays(const tree_array &root);

/// The same and every leaf.
walk_totals walk_leaves(const tree_array &root);

/// All nodes and the leaves of the internal nodes below search nodes.
walk_totals walk_internal_leaves(const tree_array &root);

/// All nodes, and through every parent leaf reference the array and the leaf it names.
walk_totals walk_covers(const tree_array &root);

/// All nodes, and the node memory behind every hardware index.
walk_totals walk_node_reads(const tree_array &root);

using bare_walk = walk_totals (*)(const tree_array &root);
