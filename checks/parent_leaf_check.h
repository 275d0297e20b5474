// Checks every node's reference to its best covering leaf.
#pragma once

#include <cstdint>

#include "platform/export.h"
#include "records/tree.h"

inline constexpr int parent_la_entries = 32;
inline constexpr int parent_la_index_max = 31;

extern "C" {
/// Leaf arrays of the internal nodes above the node being checked. Written by ckparbl only, on the
/// debug thread; stale behind the current depth.
extern PLU_EXPORT leaf_array *parent_la[parent_la_entries];
/// Deepest use of parent_la in the last ckparbl.
extern PLU_EXPORT int32_t parent_la_high_water_mark;
}

/// 1 when the array is one of the entries below the index, else 0.
int parent_la_contains(const leaf_array *array, int32_t parent_la_index);
