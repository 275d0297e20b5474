// What the checkers read of internal nodes, safe on damaged records.
#pragma once

#include "tbm/access.h"

/// Number of leaves that can be read: 0 also when the array's pointers are missing.
inline int usable_leaf_count(const leaf_array *array) {
    return array == nullptr || array->la_leaves == nullptr ? 0 : array->la_nnodes;
}
