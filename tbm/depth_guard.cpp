#include "tbm/depth_guard.h"

#include "debug_channel/reply.h"

uint32_t tbm_walks_stopped = 0;

bool depth_guard::stop(int level, const tn *node) {
    if (stops_before_ == tbm_walks_stopped) {
        ++tbm_walks_stopped;
        if (level >= tbm_walk_levels) {
            plu_debug_printf("tree deeper than %d levels at tn %p, walk stopped\n", tbm_walk_levels,
                             static_cast<const void *>(node));
        } else {
            plu_debug_printf("tree of more than %d nodes at tn %p, walk stopped\n", tbm_walk_nodes,
                             static_cast<const void *>(node));
        }
    }
    stopped = true;
    return false;
}
