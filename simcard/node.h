// Reading one node of the tree.
#pragma once

#include <cstdint>

#include "records/tree.h"

namespace simcard {

inline uint32_t ones_below(uint64_t bitmap, uint32_t n) {
    return static_cast<uint32_t>(__builtin_popcountll(bitmap & ((uint64_t{1} << n) - 1)));
}
inline bool is_search(const tn *node) {
    return (node->tn_flags & tn_type_mask) == TN_SEARCH;
}
inline bool has_inode(const tn *node) {
    return (node->tn_flags & tn_inode_flag) != 0;
}

/// Child of a sound search node for a chunk that its bitmap names.
inline tn *child_at(const tn *node, uint32_t group) {
    return node->sn_charray
        ->ta_nodes[ones_below(node->sn_ebmap, group) + (has_inode(node) ? 1 : 0)];
}

}    // namespace simcard
