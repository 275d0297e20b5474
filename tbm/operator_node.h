// Tree records at addresses that an operator typed. What cannot be read is told by
// "address 0x%lx is not readable\n" with the address at fault; an address at which no record can
// begin, and an array of more slots than a node can have, counts as one.
#pragma once

#include <cstdint>

#include "tbm/records.h"

/// The node at an address, once its own record can be read; otherwise null after the line.
tn *operator_node(uint64_t address);

/// The node at an address, once its record and all that hangs below it can be read; otherwise null
/// after the line. What goes too deep or too far is no subtree: the line then names the start.
tn *operator_start_node(uint64_t address);

/// For a node of the tree whose type promises no child array: true when its array can be followed
/// as one all the same, with all that lies below; otherwise false after the line.
bool stray_children_readable(const tn *node);

/// True when the child array of a node can be read with its slots, or there is none; otherwise
/// false after the line.
bool operator_children_readable(const tn *node);

/// The same for a leaf array and its slots; null cannot be read.
bool operator_leaves_readable(const leaf_array *array);

/// Sends a leaf line for each leaf of an array that can be read with its slots; ends with the line
/// at a leaf that cannot be read.
void operator_leaves_print(const leaf_array *array);

/// Sends the line.
void report_not_readable(uint64_t address);
