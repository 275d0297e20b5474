// Recomputes the best match so far (bmsf) of every node.
#pragma once

#include <cstdint>

#include "platform/export.h"
#include "tbm/depth_guard.h"
#include "tbm/records.h"

extern "C" {
/// Results of the last ckbmsf. Written by that command only, on the debug thread.
extern PLU_EXPORT int32_t count_bmsf_tn_nodes;         // nodes checked, roots excepted
extern PLU_EXPORT int32_t count_bmsf_no_zero_match;    // agree with a covering leaf
extern PLU_EXPORT int32_t count_bmsf_zero_match;       // no cover and none stored, or no hint node
extern PLU_EXPORT int32_t count_bmsf_not_match;        // the others
}

inline constexpr int child_positions = 64;

/// Key bits of the best covering leaf for every child position, 0 for none.
struct covering_leaf_bits {
    uint16_t at[child_positions];
};

/// Longest leaf of an internal node whose prefix ends inside the 6-bit chunk at key bit `depth` and
/// covers a child position, for all positions in one pass over the leaves.
covering_leaf_bits inode_best_leaves(const tn *inode, uint32_t depth);

/// The same for one position; 0 for a position outside 0 to 63.
uint32_t inode_best_leaf_bits(const tn *inode, uint32_t depth, int32_t position);

/// Checks a node against its expected value in key bits (0: nothing covers it), then its children.
/// `depth` is the key bit at which the chunk of the node's children starts, 12 for a root.
void bmsf_check_tn(const tn *node, uint32_t expected, uint32_t depth, bool is_root,
                   depth_guard &guard);
