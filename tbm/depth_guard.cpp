#include "tbm/depth_guard.h"

uint32_t tbm_walks_stopped = 0;

namespace {

void send_stop(const char *what, uint32_t bound, const char *unit, const tn *node) {
    ++tbm_walks_stopped;
    plu_debug_printf("%s than %d %s at tn %p, walk stopped\n", what, bound, unit,
                     static_cast<const void *>(node));
}

}    // namespace

bool depth_guard::look(int level, const tn *node) {
    pauses_ = plu_debug_pauses;
    if (stopped()) {
        return false;
    }
    const bool within = level < tbm_walk_levels && visits_left_ != 0;
    if (within && plu_debug_messages <= messages_end_) {
        --visits_left_;
        return true;
    }
    if (quiet_) {
        stop();
    } else if (level >= tbm_walk_levels) {
        send_stop("tree deeper", tbm_walk_levels, "levels", node);
    } else if (visits_left_ == 0) {
        send_stop("tree of more", tbm_walk_nodes, "nodes", node);
    } else {
        send_stop("reply of more", tbm_walk_lines, "lines", node);
    }
    return false;
}

void stop_walks_at_prefixes(const tn *node) {
    send_stop("tree of more", tbm_walk_prefixes, "prefixes", node);
}
