#include "tbm/depth_guard.h"

#include "debug_channel/reply.h"

bool depth_guard::enter(int level, const tn *node) {
    if (stopped) {
        return false;
    }
    if (level >= tbm_walk_levels) {
        stopped = true;
        plu_debug_printf("tree deeper than %d levels at tn %p, walk stopped\n", tbm_walk_levels,
                         static_cast<const void *>(node));
    }
    return !stopped;
}
