// Tree records at addresses that an operator typed.
#pragma once

#include <cstdint>

#include "tbm/records.h"

/// The node at an address, once its record and the arrays that it names can be read: the child
/// array of a SEARCH node, the leaf array of an INTERN or END node. Otherwise null, after
/// "address 0x%lx is not readable\n" with the address at fault; an address at which no record can
/// begin, and a leaf array of more leaves than a node can hold, counts as one.
tn *operator_node(uint64_t address);

/// The same for a leaf array and its leaf slots.
leaf_array *operator_leaf_array(uint64_t address);

/// The same for the child array of a node, whatever its type; no array is fine.
bool operator_children_readable(const tn *node);

/// The same for one leaf; a null leaf is fine.
bool operator_leaf_readable(const leaf *entry);
