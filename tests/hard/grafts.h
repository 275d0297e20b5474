// Impossible subtrees for the simulated card.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <new>

#include "records/tree.h"

/// A chain of hinted search nodes whose 64 slots all name the next node. The last one names an end
/// node or, as a cycle, the first one. Its records lie above those of the card.
struct graft {
    static constexpr int length = 22;    // as deep as a healthy tree below a root
    tn nodes[length + 1];
    tree_array arrays[length];
    tn *slots[length][64];

    static graft *make(bool cycle, uint32_t hw_index) {
        void *at = mmap(nullptr, sizeof(graft), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                        -1, 0);
        if (at == MAP_FAILED) {
            throw std::bad_alloc();
        }
        auto *made = static_cast<graft *>(at);
        for (int i = 0; i < length; ++i) {
            tn &node = made->nodes[i];
            node.tn_flags = TN_SEARCH | tbm_stride_bits << tn_stride_shift;
            node.hint_state = HINT_SEARCH;
            node.hw_index = hw_index;
            node.sn_ebmap = node.hint_ebmap = ~uint64_t{0};
            node.sn_charray = &made->arrays[i];
            made->arrays[i] = {64, 0, 0, made->slots[i]};
            const bool closes = cycle && i + 1 == length;
            std::fill_n(made->slots[i], 64, &made->nodes[closes ? 0 : i + 1]);
        }
        made->nodes[length].tn_flags = TN_END;
        return made;
    }
};
