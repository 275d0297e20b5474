// Verifies the hint mask of every node.
#pragma once

#include <cstdint>

#include "tbm/depth_guard.h"
#include "tbm/records.h"

/// Counts of one run.
struct hmask_check_stats {
    uint32_t inode_child_match;
    uint32_t inode_child_mismatch;
    uint32_t int_ext_ebmap_match;
    uint32_t int_ext_ebmap_mismatch;
    uint32_t int_ext_ebmap_shown;    // disagreements seen, for limiting their lines
    uint32_t inode_parent_match;
    uint32_t inode_parent_mismatch;
    uint32_t inode_pfx_not_in_hint;
    const tn *last_inode;    // internal node of the node checked last: the walk visits it next
    mask128 last_inode_lengths;
    depth_guard external_guard;    // of all collections of external masks
};

/// Checks one node; a phu_tree_visitor whose state is an hmask_check_stats.
void ckhmask_check_tn(tn *node, void *state, uint32_t is_root, tn *parent);

/// Adds the external masks of a hinted search node and of its descendants that are reached through
/// hint search nodes. Runs under a depth_guard.
void hint_ext_mask_union(const tn *node, mask128 &mask);
