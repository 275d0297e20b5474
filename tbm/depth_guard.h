// Bounds of every walk. A healthy tree is at most 23 levels deep and has each node once, so a
// deeper walk has met a cycle or a wild child pointer, and one that visits more nodes than the
// shared memory can hold, or fills a reply without end, passes through shared children again and
// again.
#pragma once

#include <cstdint>

#include "records/tree.h"
#include "reply/reply.h"
#include "shm/contexts.h"

inline constexpr int tbm_walk_levels = 64;
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
inline constexpr uint32_t tbm_walk_nodes = 4096;    // small cards, a short time for each request
inline constexpr uint32_t tbm_walk_lines = 65536;
#else
inline constexpr uint32_t tbm_walk_nodes = phu_shm_span / sizeof(tn);
inline constexpr uint32_t tbm_walk_lines = 1U
                                           << 25;    // seven lines for each prefix of a full card
#endif
/// Leaves that one walk lists or looks up: what the exact-match tables hold, and a default route of
/// each family in every VRF.
inline constexpr uint32_t tbm_walk_prefixes = 2097152 + 2097152 + 524288 + 2 * 65536;

/// Walks that have hit a bound so far. Written by depth_guard only, on the debug thread.
extern uint32_t tbm_walks_stopped;

/// One walk's guard; starts clear and stays stopped once a bound was hit. It also stops when
/// another walk does that runs inside this one, so that a command with a walk per node ends, too.
class depth_guard {
public:
    /// True when the walk may visit `node` at `level` (its start has level 0). Otherwise sends,
    /// once, "tree deeper than 64 levels at tn %p, walk stopped\n", after tbm_walk_nodes visits
    /// "tree of more than %d nodes ...", after tbm_walk_lines messages "reply of more than %d lines
    /// ...", and ends the whole walk: every later call returns false.
    bool enter(int level, const tn *node) {
        if (level >= tbm_walk_levels || visits_left_ == 0 || pauses_ != plu_debug_pauses) {
            return look(level, node);
        }
        --visits_left_;
        return true;
    }

    /// A bound ends this walk alone and without a word: others will say it.
    void be_quiet() { quiet_ = true; }

    /// Ends the walk without a word: it has found what it looked for.
    void stop() { stops_before_ = tbm_walks_stopped - 1; }

    [[nodiscard]] bool stopped() const { return stops_before_ != tbm_walks_stopped; }

private:
    /// The answer of enter() at a bound, and after a message: no bound on those, and no stop of
    /// another walk, which sends one, goes unseen without it.
    bool look(int level, const tn *node);

    uint32_t visits_left_ = tbm_walk_nodes;
    uint32_t stops_before_ = tbm_walks_stopped;
    uint64_t messages_end_ = plu_debug_messages + tbm_walk_lines;
    uint64_t pauses_ = plu_debug_pauses;
    bool quiet_ = false;
};

/// Ends all walks under way with "tree of more than %d prefixes at tn %p, walk stopped\n".
void stop_walks_at_prefixes(const tn *node);
