// Fetching what is read soon; an address that leads nowhere does no harm.
#pragma once

#include <cstddef>

#include "simcard/sound.h"

namespace simcard {

inline void prefetch_at(const void *record, size_t offset) {
    const auto address = reinterpret_cast<uintptr_t>(record) + offset;
    __builtin_prefetch(reinterpret_cast<const void *>(address));
}

/// The masks of a node's children.
inline void prefetch_masks(const SoundNode &at) {
    const int children = at.groups() == 0 ? 0 : at.node->sn_charray->ta_nnodes;
    for (int n = 0; n < children; ++n) {
        prefetch_at(at.slots[n], offsetof(tn, hint_mask));
    }
}

/// A whole node.
inline void prefetch_node(const tn *node) {
    prefetch_at(node, 0);
    prefetch_at(node, 64);
    prefetch_at(node, sizeof(tn) - 1);
}

}    // namespace simcard
