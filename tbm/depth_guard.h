// Depth bound of every recursive walk: a healthy tree is at most 23 levels deep, so a deeper one
// has a cycle or a wild child pointer.
#pragma once

#include "tbm/records.h"

inline constexpr int tbm_walk_levels = 64;

/// One walk's guard; starts clear and stays stopped once the bound was hit.
struct depth_guard {
    bool stopped = false;

    /// True when the walk may visit `node` at `level` (its start has level 0). At level 64 sends
    /// "tree deeper than 64 levels at tn %p, walk stopped\n" once and ends the whole walk: every
    /// later call returns false.
    bool enter(int level, const tn *node) {
        return !stopped && (level < tbm_walk_levels || stop(node));
    }

private:
    bool stop(const tn *node);    // returns false
};
