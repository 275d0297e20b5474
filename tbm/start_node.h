// Start nodes of walks, at addresses that an operator typed.
#pragma once

#include <cstdint>

#include "tbm/records.h"

/// The node to start a walk from: any node of the tree, found in one pass over it, or a node
/// outside of the tree whose whole subtree can be read. Otherwise null, after "address 0x%lx is not
/// readable\n" with the address at fault: that of the start when what lies there is no subtree at
/// all.
tn *operator_start_node(uint64_t address);
