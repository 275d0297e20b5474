// Tree records at addresses that an operator typed: what cannot be read of them. Every function
// answers with the address at fault, 0 when all can be read; an address at which no record can
// begin, and a leaf array of more leaves than a node can hold, counts as one. Nothing is sent.
#pragma once

#include <cstdint>

#include "tbm/records.h"

/// The node's own record.
uint64_t tn_record_fault(uint64_t address);

/// The arrays that a readable node names: the child array of a SEARCH node, the leaf array of an
/// INTERN or END node, each with its slots.
uint64_t tn_arrays_fault(const tn *node);

/// The child array with its slots, whatever the node's type; no array is fine.
uint64_t children_fault(const tn *node);

/// A leaf array and its slots; none is fine.
uint64_t leaf_array_fault(const leaf_array *array);

/// One leaf; a null leaf is fine.
uint64_t leaf_fault(const leaf *entry);

/// Sends "address 0x%lx is not readable\n" when there is a fault; true then.
bool fault_reported(uint64_t fault);
