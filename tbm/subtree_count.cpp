#include <algorithm>

#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/locate.h"
#include "tbm/readable_records.h"

namespace {

/// The sums stay in registers and nodes without children cost no call: stores would keep the
/// processor from running ahead to the next nodes while one is on its way from memory.
struct subtree_counter {
    counted_subtree known;
    depth_guard guard;
    readable_records *memory;    // null: the tree vouches for all

    uint32_t subtree(const tn *node, int level) {
        const uint32_t own = tn_inode_bit(node);
        return tn_is_search(node) ? own + below(node, level) : own;
    }

    uint32_t below(const tn *search_node, int level) {
        if (!guard.enter(level, search_node) ||
            (memory != nullptr && !memory->child_array(search_node))) {
            return 0;
        }
        const child_slots children = tn_child_slots(search_node);
        auto count = static_cast<uint32_t>(std::max(children.end - children.first, 0));
        for (int slot = children.first; slot < children.end; ++slot) {
            const tn *child = children.nodes[slot];
            if (memory != nullptr ? !memory->holds(child) : child == nullptr) {
                continue;
            }
            if (!tn_is_search(child)) {
                count += tn_inode_bit(child);
                continue;
            }
            count += child == known.node ? known.count : subtree(child, level + 1);
            if (guard.stopped) {
                return count;
            }
        }
        return count;
    }
};

}    // namespace

void tn_subtree_count(const tn *node, uint32_t &count) {
    subtree_counter counter{{}, {}, nullptr};
    count += counter.subtree(node, 0);
}

void tn_subtree_count_readable(const tn *node, uint32_t &count, const counted_subtree &known) {
    readable_records memory;
    subtree_counter counter{known, {}, &memory};
    count += counter.subtree(node, 0);
}
