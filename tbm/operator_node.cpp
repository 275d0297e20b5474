#include "tbm/operator_node.h"

#include <algorithm>

#include "debug_channel/reply.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/node_dump.h"
#include "tbm/readable_records.h"

namespace {

/// Asks for every record at and below a node.
class subtree_question {
public:
    explicit subtree_question(const tn *start) : start_(start) {}

    bool readable() { return at_or_below(start_, 0) || explained(); }
    bool children_readable() {
        return (memory_.child_array(start_) && below(start_, 0)) || explained();
    }

private:
    bool at_or_below(const tn *node, int level) {
        if (left_ == 0 || level >= tbm_walk_levels) {
            impossible_ = true;
            return false;
        }
        --left_;
        if (!memory_.node(node)) {
            return false;
        }
        return tn_is_search(node) ? below(node, level) : leaves_readable(node);
    }

    bool below(const tn *node, int level) {
        const array_slots slots = tree_array_slots(tn_child_array(node), node);
        for (int slot = 0; slot < slots.count; ++slot) {
            const tn *child = slots.nodes[slot];
            if (child != nullptr && !at_or_below(child, level + 1)) {
                return false;
            }
        }
        return true;
    }

    bool leaves_readable(const tn *node) {
        const leaf_slots slots = leaf_array_slots(inode_leaves(node));
        const auto leaves = static_cast<uint32_t>(std::max(slots.count, 0));
        if (leaves >= left_) {
            impossible_ = true;
            return false;
        }
        left_ -= leaves;
        for (int i = 0; i < slots.count; ++i) {
            if (!memory_.slot_leaf(slots.leaves[i])) {
                return false;
            }
        }
        return true;
    }

    /// Sends the line of a refusal; false.
    [[nodiscard]] bool explained() const {
        report_not_readable(impossible_ ? reinterpret_cast<uint64_t>(start_) : memory_.fault());
        return false;
    }

    const tn *start_;
    readable_records memory_;
    uint32_t left_ = tbm_walk_nodes;
    bool impossible_ = false;
};

bool told(bool readable, const readable_records &memory) {
    if (!readable) {
        report_not_readable(memory.fault());
    }
    return readable;
}

}    // namespace

tn *operator_node(uint64_t address) {
    readable_records memory;
    auto *node = reinterpret_cast<tn *>(address);
    return told(memory.holds(node), memory) ? node : nullptr;
}

tn *operator_start_node(uint64_t address) {
    auto *node = reinterpret_cast<tn *>(address);
    return subtree_question(node).readable() ? node : nullptr;
}

bool stray_children_readable(const tn *node) {
    return subtree_question(node).children_readable();
}

bool operator_children_readable(const tn *node) {
    readable_records memory;
    return told(memory.child_array(node), memory);
}

bool operator_leaves_readable(const leaf_array *array) {
    readable_records memory;
    return told(memory.holds(array) && memory.leaves(array), memory);
}

void operator_leaves_print(const leaf_array *array) {
    readable_records memory;
    // Every line may wait for the client while the library changes the array.
    for (int i = 0;; ++i) {
        const leaf_slots slots = leaf_array_slots(array);
        if (i >= slots.count || !told(memory.slot_leaf(slots.leaves[i]), memory)) {
            return;
        }
        tbm_leaf_print(slots.leaves + i);
    }
}

void report_not_readable(uint64_t address) {
    plu_debug_printf("address 0x%lx is not readable\n", address);
}
