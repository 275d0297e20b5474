#include "tbm/depth_guard.h"

uint32_t tbm_walks_stopped = 0;

namespace {

void send_stop(const char *what, uint32_t bound, const char *unit, const tn *node) {
    ++tbm_walks_stopped;
    plu_debug_printf("%s than %d %s at tn %p, walk stopped\n", what, bound, unit,
                     static_cast<const void *>(node));
}

}    // namespace

void depth_guard::explain(int level, const tn *node) {
    if (quiet_) {
        stop();
    }
    if (stopped()) {
        return;
    }
    if (level >= tbm_walk_levels) {
        send_stop("tree deeper", tbm_walk_levels, "levels", node);
    } else if (visits_left_ == 0) {
        send_stop("tree of more", tbm_walk_nodes, "nodes", node);
    } else {
        send_stop("reply of more", tbm_walk_lines, "lines", node);
    }
}

void stop_walks_at_prefixes(const tn *node) {
    send_stop("tree of more", tbm_walk_prefixes, "prefixes", node);
}
