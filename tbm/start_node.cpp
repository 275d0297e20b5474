#include "tbm/start_node.h"

#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/operator_node.h"

namespace {

constexpr int outside_nodes_max = 100000;    // more cannot hang outside of a healthy tree

/// True when `target` is a node at or below `node`. Silent about a tree that is too deep: the walk
/// says so.
bool holds(const tn *node, const tn *target, int level) {
    if (node == target) {
        return true;
    }
    if (!tn_is_search(node) || level >= tbm_walk_levels) {
        return false;
    }
    const child_slots children = tn_child_slots(node);
    for (int slot = 0; slot < children.end; ++slot) {
        const tn *child = children.nodes[slot];
        if (child != nullptr && holds(child, target, level + 1)) {
            return true;
        }
    }
    return false;
}

bool tree_holds(const tn *target) {
    const tree_array *root = tbdb_root_of(tbm_handle_current());
    for (int slot = 0; root != nullptr && slot < root->ta_nnodes; ++slot) {
        const tn *node = root->ta_nodes[slot];
        if (node != nullptr && holds(node, target, 0)) {
            return true;
        }
    }
    return false;
}

/// Asks for every record at and below a node that no tree vouches for.
struct outside_subtree {
    int nodes = 0;
    bool impossible = false;

    bool readable(const tn *node, int level) {
        if (++nodes > outside_nodes_max || level >= tbm_walk_levels) {
            impossible = true;
            return false;
        }
        if (operator_node(reinterpret_cast<uint64_t>(node)) == nullptr) {
            return false;
        }
        return tn_is_search(node) ? children_readable(node, level) : leaves_readable(node);
    }

    bool children_readable(const tn *node, int level) {
        const child_slots children = tn_child_slots(node);
        for (int slot = 0; slot < children.end; ++slot) {
            const tn *child = children.nodes[slot];
            if (child != nullptr && !readable(child, level + 1)) {
                return false;
            }
        }
        return true;
    }

    static bool leaves_readable(const tn *node) {
        const leaf_array *array = inode_leaves(node);
        for (int i = 0; i < leaf_count(array) && array->la_leaves != nullptr; ++i) {
            if (!operator_leaf_readable(array->la_leaves[i])) {
                return false;
            }
        }
        return true;
    }
};

}    // namespace

tn *operator_start_node(uint64_t address) {
    tn *node = operator_node(address);
    if (node == nullptr || tree_holds(node)) {
        return node;
    }
    outside_subtree subtree;
    if (subtree.readable(node, 0)) {
        return node;
    }
    if (subtree.impossible) {
        plu_debug_printf("address 0x%lx is not readable\n", address);
    }
    return nullptr;
}
