// Nodes whose subtree a command follows, at addresses that an operator typed.
#pragma once

#include <cstdint>

#include "tbm/records.h"

/// The node to start from: any node of the tree, to which the key of one of its leaves leads (or
/// else found in one pass over the tree), or a node outside of the tree whose whole subtree can be
/// read. Otherwise null, after "address 0x%lx is not readable\n" with the address at fault: that of
/// the start when what lies there is no subtree at all.
tn *operator_start_node(uint64_t address);

/// What keeps a command from following the subtree of a node whose record can be read: the address
/// at fault as above, 0 for nothing.
uint64_t subtree_fault(const tn *node);

/// What keeps `tn` from showing the node's children and leaves, however the rest of the subtree is:
/// the address at fault, 0 for nothing.
uint64_t neighbour_fault(const tn *node);

/// For a node of the tree whose type promises no child array: true when its array can be followed
/// as one all the same, with all that lies below. The line is the same.
bool stray_children_readable(const tn *node);
