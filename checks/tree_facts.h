// What the checkers read of internal nodes, safe on damaged records.
#pragma once

#include "tbm/access.h"

/// Leaf array of an internal node; null for no node and for a node that is none (a search node
/// keeps its children in that place).
inline leaf_array *internal_leaves(const tn *inode) {
    return inode != nullptr && (tn_is_intern(inode) || tn_is_end(inode)) ? inode->in_lfarray
                                                                         : nullptr;
}

/// Number of leaves that can be read: 0 also when the array's pointers are missing.
inline int usable_leaf_count(const leaf_array *array) {
    return array == nullptr || array->la_leaves == nullptr ? 0 : array->la_nnodes;
}
