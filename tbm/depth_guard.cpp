#include "tbm/depth_guard.h"

#include "debug_channel/reply.h"

bool depth_guard::stop(const tn *node) {
    stopped = true;
    plu_debug_printf("tree deeper than %d levels at tn %p, walk stopped\n", tbm_walk_levels,
                     static_cast<const void *>(node));
    return false;
}
