// Text dump of one tree node.
#pragma once

#include <cstdint>

#include "tbm/records.h"

/// Sends the dump of `node`; `key_bits` is the number of key bits that lead to it (refused above
/// 146). Detail bit 0 adds the internal node's leaves, bit 1 the bitmaps and children.
void tbm_node_dump(const tn *node, int key_bits, const uint8_t *key, uint32_t detail);

/// Sends "  %s\n" with the prefix of the leaf in a slot; a null leaf prints as (null).
void tbm_leaf_print(leaf *const *slot);

/// Sends a leaf line for each leaf of an array.
void leaf_array_print(const leaf_array *array);
