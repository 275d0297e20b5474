#include "tbm/start_node.h"

#include "debug_channel/contexts.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/locate.h"
#include "tbm/operator_node.h"

namespace {

constexpr int outside_nodes_max = 100000;    // more cannot hang outside of a healthy tree

/// A node's record and the arrays that it names.
uint64_t node_fault(const tn *node) {
    const uint64_t fault = tn_record_fault(reinterpret_cast<uint64_t>(node));
    return fault != 0 ? fault : tn_arrays_fault(node);
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

/// What a node's first children lead to.
struct leaf_below {
    uint64_t fault;       // the record in the way, 0 for none
    const leaf *entry;    // null when there is none
};

/// As a search for any leaf of the node, with each record asked for before it is followed: the node
/// is the operator's word alone.
leaf_below some_leaf_below(const tn *node) {
    for (int level = 0; level < tn_path_nodes && node != nullptr; ++level) {
        const tn *inode = tn_is_intern(node) ? node : tn_inode(node);
        const uint64_t fault = inode == nullptr || inode == node ? 0 : node_fault(inode);
        if (fault != 0) {
            return {fault, nullptr};
        }
        const leaf_array *array = inode_leaves(inode);
        if (leaf_count(array) > 0 && array->la_leaves != nullptr) {
            return {leaf_fault(array->la_leaves[0]), array->la_leaves[0]};
        }
        const child_slots children = tn_is_search(node) ? tn_child_slots(node) : child_slots{};
        node = children.first < children.end ? children.nodes[children.first] : nullptr;
        if (const uint64_t child = node == nullptr ? 0 : node_fault(node); child != 0) {
            return {child, nullptr};
        }
    }
    return {0, nullptr};
}

uint64_t leaves_fault(const leaf_array *array) {
    for (int i = 0; i < leaf_count(array) && array->la_leaves != nullptr; ++i) {
        if (const uint64_t fault = leaf_fault(array->la_leaves[i]); fault != 0) {
            return fault;
        }
    }
    return 0;
}

/// Asks for every record at and below a node that no tree vouches for. What goes too deep or too
/// far is no subtree: the node itself is at fault then.
class outside_subtree {
public:
    explicit outside_subtree(const tn *start) : start_(start) {}

    uint64_t fault() { return fault(start_, 0); }
    uint64_t below() { return below(start_, 0); }

private:
    uint64_t fault(const tn *node, int level) {
        if (++nodes_ > outside_nodes_max || level >= tbm_walk_levels) {
            return reinterpret_cast<uint64_t>(start_);
        }
        if (const uint64_t own = node_fault(node); own != 0) {
            return own;
        }
        if (tn_is_search(node)) {
            return below(node, level);
        }
        nodes_ += leaf_count(inode_leaves(node));
        return leaves_fault(inode_leaves(node));
    }

    uint64_t below(const tn *node, int level) {
        const tree_array *array = node->sn_charray;
        for (int slot = 0; slot < tree_array_slots(array, node); ++slot) {
            const tn *child = array->ta_nodes[slot];
            const uint64_t found = child == nullptr ? 0 : fault(child, level + 1);
            if (found != 0) {
                return found;
            }
        }
        return 0;
    }

    const tn *start_;
    int nodes_ = 0;
};

}    // namespace

uint64_t subtree_fault(const tn *node) {
    if (const uint64_t fault = tn_arrays_fault(node); fault != 0) {
        return fault;
    }
    const leaf_below below = some_leaf_below(node);
    if (below.fault != 0 || tn_key_leads_to(below.entry, node) || tree_holds(node)) {
        return below.fault;
    }
    return outside_subtree(node).fault();
}

uint64_t neighbour_fault(const tn *node) {
    if (const uint64_t fault = tn_arrays_fault(node); fault != 0) {
        return fault;
    }
    if (!tn_is_search(node)) {
        return leaves_fault(inode_leaves(node));
    }
    const tree_array *array = node->sn_charray;
    for (int slot = 0; slot < tree_array_slots(array, node); ++slot) {
        const tn *child = array->ta_nodes[slot];
        uint64_t fault = child == nullptr ? 0 : node_fault(child);
        if (fault == 0 && child != nullptr && !tn_is_search(child)) {
            fault = leaves_fault(inode_leaves(child));
        }
        if (fault != 0) {
            return fault;
        }
    }
    return 0;
}

tn *operator_start_node(uint64_t address) {
    auto *node = reinterpret_cast<tn *>(address);
    const uint64_t own = tn_record_fault(address);
    return fault_reported(own != 0 ? own : subtree_fault(node)) ? nullptr : node;
}

bool stray_children_readable(const tn *node) {
    const uint64_t own = children_fault(node);
    return !fault_reported(own != 0 ? own : outside_subtree(node).below());
}
