// Number of nodes below a node.
#pragma once

#include <cstdint>

#include "records/tree.h"

/// A subtree whose count is known; node null for none.
struct counted_subtree {
    const tn *node;
    uint32_t count;
};

/// Adds 1 for the inode flag of every node of the subtree and 1 for every child slot in it. The
/// known subtree inside it is not walked again. Nothing hangs below what cannot be read.
void tn_subtree_count(const tn *node, uint32_t &count, const counted_subtree &known = {});
