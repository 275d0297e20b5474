// Nodes whose subtree a command follows, at addresses that an operator typed.
#pragma once

#include <cstdint>

#include "tbm/records.h"

/// The node to start from: any node of the tree, to which the key of one of its leaves leads (or
/// else found in one pass over the tree), or a node outside of the tree whose whole subtree can be
/// read. Otherwise null, after "address 0x%lx is not readable\n" with the address at fault: that of
/// the start when what lies there is no subtree at all.
tn *operator_start_node(uint64_t address);

/// For a node of the tree whose type promises no child array: true when its array can be followed
/// as one all the same, with all that lies below. The line is the same.
bool stray_children_readable(const tn *node);
