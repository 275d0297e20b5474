#include "bench/sample_nodes.h"

namespace {

struct picker {
    sample_nodes picked;
    int children = 0;
    int hinted = 0;

    void below(tn *node, int level) {
        if ((node->tn_flags & tn_type_mask) != TN_SEARCH) {
            picked.last_leaf_array =
                node->in_lfarray == nullptr ? picked.last_leaf_array : node->in_lfarray;
            return;
        }
        const tree_array *array = node->sn_charray;
        if (level >= 1 && array->ta_nnodes >= children) {
            children = array->ta_nnodes;
            picked.most_children = node;
        }
        const int hints = __builtin_popcountll(node->hint_ebmap);
        if (level >= 2 && hints > 0 && hints >= hinted) {
            hinted = hints;
            picked.most_hinted_children = node;
        }
        const int end = array->ta_nnodes + ((node->tn_flags & tn_inode_flag) != 0 ? 1 : 0);
        for (int slot = 0; slot < end; ++slot) {
            below(array->ta_nodes[slot], level + 1);
        }
    }
};

}    // namespace

sample_nodes pick_sample_nodes(const tree_array &root) {
    picker picker;
    for (int slot = 0; slot < root.ta_nnodes; ++slot) {
        if (root.ta_nodes[slot] != nullptr) {
            picker.below(root.ta_nodes[slot], 0);
        }
    }
    return picker.picked;
}
