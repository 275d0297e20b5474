#include "tbm/start_node.h"

#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/locate.h"
#include "tbm/operator_node.h"

namespace {

constexpr int outside_nodes_max = 100000;    // more cannot hang outside of a healthy tree

bool node_readable(const tn *node) {
    return operator_node(reinterpret_cast<uint64_t>(node)) != nullptr;
}

/// Search of the whole tree for a node. Within the bounds of a walk, but silent about a tree that
/// goes beyond them: the walk itself says so.
struct tree_search {
    const tn *target;
    uint32_t visits_left = tbm_walk_nodes;

    bool at_or_below(const tn *node, int level) {
        if (node == target) {
            return true;
        }
        if (!tn_is_search(node) || level >= tbm_walk_levels || visits_left == 0) {
            return false;
        }
        --visits_left;
        const child_slots children = tn_child_slots(node);
        for (int slot = 0; slot < children.end; ++slot) {
            const tn *child = children.nodes[slot];
            if (child != nullptr && at_or_below(child, level + 1)) {
                return true;
            }
        }
        return false;
    }
};

bool tree_holds(const tn *target) {
    const tree_array *root = tbdb_root_of(tbm_handle_current());
    tree_search search{target};
    for (int slot = 0; root != nullptr && slot < root->ta_nnodes; ++slot) {
        const tn *node = root->ta_nodes[slot];
        if (node != nullptr && search.at_or_below(node, 0)) {
            return true;
        }
    }
    return false;
}

/// What a node's first children lead to; false in `readable` after the line that names the record
/// in the way.
struct leaf_below {
    bool readable;
    const leaf *entry;    // null when there is none
};

/// As a search for any leaf of the node, with each record asked for before it is followed: the node
/// is the operator's word alone.
leaf_below some_leaf_below(const tn *node) {
    for (int level = 0; level < tn_path_nodes && node != nullptr; ++level) {
        const tn *inode = tn_is_intern(node) ? node : tn_inode(node);
        if (inode != nullptr && inode != node && !node_readable(inode)) {
            return {false, nullptr};
        }
        const leaf_array *array = inode_leaves(inode);
        if (leaf_count(array) > 0 && array->la_leaves != nullptr) {
            return {operator_leaf_readable(array->la_leaves[0]), array->la_leaves[0]};
        }
        const child_slots children = tn_is_search(node) ? tn_child_slots(node) : child_slots{};
        node = children.first < children.end ? children.nodes[children.first] : nullptr;
        if (node != nullptr && !node_readable(node)) {
            return {false, nullptr};
        }
    }
    return {true, nullptr};
}

/// Asks for every record at and below a node that no tree vouches for. What goes too deep or too
/// far is no subtree: the line then names the node itself.
class outside_subtree {
public:
    explicit outside_subtree(const tn *start) : start_(start) {}

    bool readable() { return readable(start_, 0) || explained(); }
    bool children_readable() { return children_readable(start_, 0) || explained(); }

private:
    bool readable(const tn *node, int level) {
        if (++nodes_ > outside_nodes_max || level >= tbm_walk_levels) {
            impossible_ = true;
            return false;
        }
        if (!node_readable(node)) {
            return false;
        }
        return tn_is_search(node) ? children_readable(node, level) : leaves_readable(node);
    }

    bool children_readable(const tn *node, int level) {
        const tree_array *array = node->sn_charray;
        for (int slot = 0; slot < tree_array_slots(array, node); ++slot) {
            const tn *child = array->ta_nodes[slot];
            if (child != nullptr && !readable(child, level + 1)) {
                return false;
            }
        }
        return true;
    }

    bool leaves_readable(const tn *node) {
        const leaf_array *array = inode_leaves(node);
        nodes_ += leaf_count(array);
        for (int i = 0; i < leaf_count(array) && array->la_leaves != nullptr; ++i) {
            if (!operator_leaf_readable(array->la_leaves[i])) {
                return false;
            }
        }
        return true;
    }

    /// Sees to the line of a refusal; false.
    [[nodiscard]] bool explained() const {
        if (impossible_) {
            plu_debug_printf("address 0x%lx is not readable\n", reinterpret_cast<uint64_t>(start_));
        }
        return false;
    }

    const tn *start_;
    int nodes_ = 0;
    bool impossible_ = false;
};

}    // namespace

tn *operator_start_node(uint64_t address) {
    tn *node = operator_node(address);
    if (node == nullptr) {
        return nullptr;
    }
    const leaf_below below = some_leaf_below(node);
    if (!below.readable) {
        return nullptr;
    }
    if (tn_key_leads_to(below.entry, node) || tree_holds(node)) {
        return node;
    }
    return outside_subtree(node).readable() ? node : nullptr;
}

bool stray_children_readable(const tn *node) {
    return operator_children_readable(node) && outside_subtree(node).children_readable();
}
