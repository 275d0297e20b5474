// The longest leaf of an internal node for a 5-bit prefix.
#pragma once

#include <cstdint>

#include "records/tree.h"

/// Slot of the longest leaf of an internal node for a 5-bit prefix, narrating each step; null when
/// there is none or it cannot be read. What the slot holds may be null, and need not be readable;
/// it is taken as stored also behind the array's count.
leaf **tbm_retrieve_leaf_local(const tn *inode, uint32_t prefix);

/// The same without any text; null also without an internal node or leaf array.
leaf **inode_longest_leaf(const tn *inode, uint32_t prefix);
