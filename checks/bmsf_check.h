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

/// Child positions that the leaves of an internal node cover, by the number of chunk bits that a
/// leaf uses: bit p of by_length[n] is position p. One pass over the leaves serves all positions.
struct covered_positions {
    uint64_t by_length[tbm_stride_bits];

    /// Key bits of the longest leaf that covers a position of the chunk at `depth`; 0 for none and
    /// for a position outside 0 to 63.
    [[nodiscard]] uint32_t best_leaf_bits(uint32_t depth, int32_t position) const;
};

/// Positions covered by the leaves whose prefix ends inside the 6-bit chunk at key bit `depth`.
covered_positions inode_covered_positions(const tn *inode, uint32_t depth);

/// Key bits of the longest leaf of an internal node that covers one child position, 0 for none.
uint32_t inode_best_leaf_bits(const tn *inode, uint32_t depth, int32_t position);

/// Checks a node against its expected value in key bits (0: nothing covers it), then its children.
/// `depth` is the key bit at which the chunk of the node's children starts, 12 for a root.
void bmsf_check_tn(const tn *node, uint32_t expected, uint32_t depth, bool is_root,
                   depth_guard &guard);
