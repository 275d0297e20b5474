#include "tbm/leaf_owner.h"

#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tbm/depth_guard.h"
#include "tbm/node_dump.h"
#include "tbm/operator_node.h"
#include "tbm/readable_records.h"

namespace {

/// Passes over what cannot be read: a damaged node must not end the command on another one's
/// leaves.
struct owner_search {
    const leaf_array *array;
    depth_guard guard;
    readable_records memory;

    tn *visit(tn *node, int level) {
        if (!guard.enter(level, node)) {
            return nullptr;
        }
        if (tn_is_intern(node) || tn_is_end(node)) {
            return tn_inode_bit(node) != 0 && node->in_lfarray == array ? node : nullptr;
        }
        if (!tn_is_search(node) || !memory.child_array(node)) {
            return nullptr;
        }
        const tn *inode = tn_inode(node);
        if (memory.holds(inode) && inode_leaves(inode) == array) {
            return node;
        }
        return visit_children(tn_child_slots(node), level);
    }

    tn *visit_children(const child_slots &children, int level) {
        for (int slot = children.first; slot < children.end && !guard.stopped; ++slot) {
            tn *child = children.nodes[slot];
            tn *owner = memory.holds(child) ? visit(child, level + 1) : nullptr;
            if (owner != nullptr) {
                return owner;
            }
        }
        return nullptr;
    }
};

}    // namespace

tn *la_owner_find(const leaf_array *array) {
    const tree_array *root = tbdb_root_of(tbm_handle_or_report());
    if (root == nullptr || array == nullptr) {
        return nullptr;
    }
    owner_search search{array, {}, {}};
    for (int i = 0; i < root->ta_nnodes; ++i) {
        tn *node = root->ta_nodes[i];
        tn *owner = node == nullptr ? nullptr : search.visit(node, 0);
        if (owner != nullptr) {
            return owner;
        }
    }
    return nullptr;
}

void cmd_showla(uint64_t address, uint64_t force, uint64_t) {
    if (tbm_handle_or_report() == nullptr) {
        return;
    }
    const auto *array = reinterpret_cast<const leaf_array *>(address);
    if (address < reinterpret_cast<uint64_t>(phu_shm_start())) {
        plu_debug_printf("invalide leaf array addr:%p\n", static_cast<const void *>(array));
        return;
    }
    const tn *owner = la_owner_find(array);
    const bool listed = owner != nullptr || force != 0;
    if (listed && array == nullptr) {    // without a node in slot 0 no address is too low
        report_not_readable(address);
        return;
    }
    if (listed && !operator_leaves_readable(array)) {
        return;
    }
    plu_debug_printf("la %p tn %p\n", static_cast<const void *>(array),
                     static_cast<const void *>(owner));
    if (!listed) {
        plu_debug_printf("cant find leaf array parent tn, skip detailed leaf info\n");
        return;
    }
    plu_debug_printf("la_nnodes %d (la %p)\n", array->la_nnodes, static_cast<const void *>(array));
    operator_leaves_print(array);
}
