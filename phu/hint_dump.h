// Display of one hardware node with its owner, and the hint section of a tree node.
#pragma once

#include <cstdint>

#include "records/hw_node.h"
#include "records/tree.h"

/// Reads and prints the node at an index together with its owning tree node; the image stays in
/// `image`. Returns 0, non-zero when the read failed (its line has been sent).
int phu_hw_node_show(uint32_t hw_index, phu_node &image);

/// Sends the hint section of a tree node.
void tn_hint_dump(const tn *node);
