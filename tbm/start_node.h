// Nodes that an operator typed.
#pragma once

#include <cstdint>

#include "records/tree.h"

/// The node at an address that is a node's argument: refused below plu_shm_ctx ("invalid tn addr:
/// 0x%lx\n") and when the record cannot be read (its address is named). Null when refused.
tn *typed_node(uint64_t address);

/// The optional start node of a whole-tree command. `node` is null for the whole tree.
struct start_node {
    bool refused;    // after the line that says why
    tn *node;
};

/// Reads a start argument, 0 for the whole tree; `bounded` refuses addresses below plu_shm_ctx as
/// typed_node does.
start_node typed_start(uint64_t address, bool bounded = true);

/// The same, and says "walk tn tree start from %p\n" when there is a node.
start_node announced_start(uint64_t address, bool bounded = true);
