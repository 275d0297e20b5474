// Text dump of one tree node.
#pragma once

#include <cstdint>

#include "records/tree.h"

/// Sends the dump of `node`; `key_bits` is the number of key bits that lead to it (refused above
/// 146). Detail bit 0 adds the internal node's leaves, bit 1 the bitmaps and children.
void tbm_node_dump(const tn *node, int key_bits, const uint8_t *key, uint32_t detail);
