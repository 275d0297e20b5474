// Simulated hardware lookup: follows the node chain of a key the way the lookup hardware does.
#pragma once

#include <cstdint>

#include "records/tree.h"

inline constexpr uint32_t phu_lookup_failed = 0x4d7eca00;

/// Returns 0 with the end node's mask in `result`, or phu_lookup_failed after the line that says
/// why (the result is then untouched). `verbose` prints every node visited.
uint32_t phu_hw_engine_search_sim(const uint8_t *key, mask128 &result, int verbose);
