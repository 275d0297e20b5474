// Verifies the hint mask of every node.
#pragma once

#include <cstdint>

/// Counts of one run.
struct hmask_check_stats {
    uint32_t inode_child_match;
    uint32_t inode_child_mismatch;
    uint32_t int_ext_ebmap_match;
    uint32_t int_ext_ebmap_mismatch;
    uint32_t inode_parent_match;
    uint32_t inode_parent_mismatch;
    uint32_t inode_pfx_not_in_hint;
};
