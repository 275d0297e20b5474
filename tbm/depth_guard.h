// Bounds of every recursive walk. A healthy tree is at most 23 levels deep and has each node once,
// so a deeper walk has met a cycle or a wild child pointer, and one that visits more nodes than the
// shared memory can hold passes through shared children again and again.
#pragma once

#include <cstdint>

#include "debug_channel/contexts.h"
#include "tbm/records.h"

inline constexpr int tbm_walk_levels = 64;
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
inline constexpr uint32_t tbm_walk_nodes = 4096;    // small cards, a short time for each request
#else
inline constexpr uint32_t tbm_walk_nodes = phu_shm_span / sizeof(tn);
#endif

/// Walks that have hit a bound so far. Written by depth_guard only, on the debug thread.
extern uint32_t tbm_walks_stopped;

/// One walk's guard; starts clear and stays stopped once a bound was hit. It also stops when
/// another walk does that runs inside this one, so that a command with a walk per node ends, too.
struct depth_guard {
    bool stopped = false;

    /// True when the walk may visit `node` at `level` (its start has level 0). At level 64 sends
    /// "tree deeper than 64 levels at tn %p, walk stopped\n", after tbm_walk_nodes visits "tree of
    /// more than %d nodes at tn %p, walk stopped\n", once, and ends the whole walk: every later
    /// call returns false.
    bool enter(int level, const tn *node) {
        if (level >= tbm_walk_levels || visits_left_ == 0 || stops_before_ != tbm_walks_stopped) {
            return stop(level, node);
        }
        --visits_left_;
        return true;
    }

private:
    bool stop(int level, const tn *node);    // returns false

    uint32_t visits_left_ = tbm_walk_nodes;
    uint32_t stops_before_ = tbm_walks_stopped;
};
