// The walks that look every prefix of the tree up again.
#pragma once

#include <cstdint>

#include "records/tree.h"

/// Counts of one run.
struct lkup_check_stats {
    uint32_t verbose;
    uint32_t total;          // leaves visited
    uint32_t match;          // best length is the leaf's own
    uint32_t longer;         // best length is longer
    uint32_t no_match;       // no length found
    uint32_t missed_seen;    // misses seen, for limiting the lines of cklkup
};

/// Look up every leaf of an internal or end node below the roots, through the search path or the
/// hardware nodes. Called by phu_tree_walk.
void cklkup_check_tn(tn *node, lkup_check_stats &stats, uint32_t is_root, tn *parent);
void cklkuphw_check_tn(tn *node, lkup_check_stats &stats, uint32_t is_root, tn *parent);
