#include "phu/tree_walk.h"

#include <algorithm>

#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "phu/node_image.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/readable_records.h"

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
        // The visitor may have waited for a client: what hangs here is asked for anew at every
        // slot.
        for (int slot = 0; tn_is_search(node); ++slot) {
            const child_slots children = tn_child_slots(node);
            if (slot >= children.end) {
                return;
            }
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

/// Search for the first node of each wanted index; ends with the last one found. It serves the
/// commands on one node, which must not end at another one that is damaged: that one is passed
/// over.
struct owner_search {
    std::span<const hw_index_range> ranges;
    uint32_t missing;
    depth_guard guard;
    readable_records memory;

    void below(tn *node, int level) {
        if (!guard.enter(level, node)) {
            return;
        }
        note(node);
        if (missing == 0 || !tn_is_search(node) || !memory.child_array(node)) {
            return;
        }
        const child_slots children = tn_child_slots(node);
        for (int slot = children.first; slot < children.end && missing > 0; ++slot) {
            if (tn *child = children.nodes[slot]; memory.holds(child)) {
                below(child, level + 1);
            }
        }
    }

    void note(tn *node) {
        const uint32_t hw_index = node->hw_index;
        if (hw_index == 0) {
            return;
        }
        for (const hw_index_range &range : ranges) {
            const uint32_t offset = (hw_index - range.first) & hw_index_place_mask;
            if (offset < range.count && range.owners[offset] == nullptr) {
                range.owners[offset] = node;
                --missing;
            }
        }
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
    tn *found = nullptr;
    if (tbm_handle_or_report() != nullptr) {
        const hw_index_range wanted[] = {{hw_index, 1, &found}};
        phu_find_owners(wanted);
    }
    return found;
}

void phu_find_owners(std::span<const hw_index_range> ranges) {
    uint32_t missing = 0;
    for (const hw_index_range &range : ranges) {
        std::fill_n(range.owners, range.count, nullptr);
        missing += range.count;
    }
    const tree_array *root = tbdb_root_of(tbm_handle_current());
    owner_search search{ranges, missing, {}, {}};
    for (int i = 0; root != nullptr && i < root->ta_nnodes && search.missing > 0; ++i) {
        if (tn *node = root->ta_nodes[i]; node != nullptr) {
            search.below(node, 0);
        }
    }
}
