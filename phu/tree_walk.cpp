#include "phu/tree_walk.h"

#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"

namespace {

struct walk {
    void *state;
    phu_tree_visitor visitor;
    depth_guard guard;

    void visit(tn *node, bool is_root, tn *parent, int level) {
        if (!guard.enter(level, node)) {
            return;
        }
        visitor(node, state, is_root ? 1 : 0, parent);
        if (!tn_is_search(node)) {
            return;
        }
        const child_slots children = tn_child_slots(node);
        for (int slot = 0; slot < children.end; ++slot) {
            if (tn *child = children.nodes[slot]; child != nullptr) {
                visit(child, false, node, level + 1);
            }
        }
    }
};

bool is_root_node(const tree_array *root, const tn *node) {
    for (int i = 0; i < root->ta_nnodes; ++i) {
        if (root->ta_nodes[i] == node) {
            return true;
        }
    }
    return false;
}

struct index_search {
    uint32_t wanted;
    depth_guard guard;

    tn *below(tn *node, int level) {
        if (!guard.enter(level, node)) {
            return nullptr;
        }
        if ((node->hw_index & 0xffffff) == wanted) {
            return node;
        }
        if (!tn_is_search(node)) {
            return nullptr;
        }
        const child_slots children = tn_child_slots(node);
        for (int slot = children.first; slot < children.end; ++slot) {
            tn *child = children.nodes[slot];
            if (tn *found = child == nullptr ? nullptr : below(child, level + 1);
                found != nullptr) {
                return found;
            }
        }
        return nullptr;
    }
};

}    // namespace

void phu_tree_walk(void *state, phu_tree_visitor visitor, tn *start) {
    const tbm_handle_record *handle = tbm_handle_derive();
    if (handle == nullptr) {
        plu_debug_printf("NULL tbm_handle\n");
        return;
    }
    const tree_array *root = tbdb_root_of(handle);
    walk job{state, visitor, {}};
    if (start != nullptr) {
        job.visit(start, root != nullptr && is_root_node(root, start), nullptr, 0);
        return;
    }
    for (int i = 0; root != nullptr && i < root->ta_nnodes; ++i) {
        if (tn *node = root->ta_nodes[i]; node != nullptr) {
            job.visit(node, true, nullptr, 0);
        }
    }
}

tn *phu_find_tn_by_hw_index(uint32_t hw_index) {
    const tbm_handle_record *handle = tbm_handle_or_report();
    const tree_array *root = tbdb_root_of(handle);
    index_search search{hw_index & 0xffffff, {}};
    for (int i = 0; root != nullptr && i < root->ta_nnodes; ++i) {
        tn *node = root->ta_nodes[i];
        if (tn *found = node == nullptr ? nullptr : search.below(node, 0); found != nullptr) {
            return found;
        }
    }
    return nullptr;
}
