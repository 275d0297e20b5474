// Checks every node's reference to its best covering leaf.
#pragma once

#include <cstdint>

#include "platform/export.h"
#include "tbm/depth_guard.h"
#include "tbm/records.h"

inline constexpr int parent_la_entries = 32;
inline constexpr int parent_la_index_max = 31;

extern "C" {
/// Leaf arrays of the internal nodes above the node being checked. Written by ckparbl only, on the
/// debug thread; stale behind the current depth.
extern PLU_EXPORT leaf_array *parent_la[parent_la_entries];
/// Deepest use of parent_la in the last ckparbl.
extern PLU_EXPORT int32_t parent_la_high_water_mark;
}

/// Counts of one run.
struct parbl_check_stats {
    uint32_t nodes;
    uint32_t end_nodes;
    uint32_t search_nodes;
    uint32_t unknown_nodes;
    uint32_t valid;
    uint32_t invalid;
    uint32_t invalid_end;
    uint32_t invalid_offset;
    uint32_t search_shown;    // invalid references of search nodes, for limiting their lines
    uint32_t end_shown;       // the same of end nodes
    depth_guard guard;
};

/// 1 when the array is one of the entries below the index, else 0.
int parent_la_contains(const leaf_array *array, int32_t parent_la_index);

/// Checks a node and everything below it. `level` counts the nodes above it.
void parbl_check_tn(const tn *node, int32_t parent_la_index, parbl_check_stats &stats, int level);
