// Hides the memory latency of a walk: the next child is on its way while its sibling is visited.
#pragma once

#include <cstddef>
#include <cstdint>

#include "records/tree.h"

/// Asks for the cache lines of a node that the walks read. Any address will do, null too.
inline void prefetch_node(const tn *node) {
    const auto address = reinterpret_cast<uintptr_t>(node);
    __builtin_prefetch(reinterpret_cast<const void *>(address + offsetof(tn, tn_flags)));
    __builtin_prefetch(reinterpret_cast<const void *>(address + offsetof(tn, hint_ebmap)));
}
