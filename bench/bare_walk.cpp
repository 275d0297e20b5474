#include "bench/bare_walk.h"

#include "phu/node_read.h"
#include "records/hw_node.h"
#include "shm/contexts.h"

namespace {

uint32_t type_of(const tn *node) {
    return node->tn_flags & tn_type_mask;
}

void touch_array(const leaf_array *array, walk_totals &totals) {
    if (array != nullptr) {
        ++totals.leaf_arrays;
        totals.sum += static_cast<uint64_t>(array->la_nnodes);
    }
}

void touch_leaves(const leaf_array *array, walk_totals &totals) {
    for (int i = 0; array != nullptr && i < array->la_nnodes; ++i) {
        ++totals.leaves;
        totals.sum += array->la_leaves[i]->key_bits_used;
    }
}

struct nodes_only {
    static void visit(const tn *, walk_totals &) {}
};

struct with_leaf_arrays {
    static void visit(const tn *node, walk_totals &totals) {
        if (type_of(node) != TN_SEARCH) {
            touch_array(node->in_lfarray, totals);
        }
    }
};

struct with_leaves {
    static void visit(const tn *node, walk_totals &totals) {
        if (type_of(node) != TN_SEARCH) {
            touch_array(node->in_lfarray, totals);
            touch_leaves(node->in_lfarray, totals);
        }
    }
};

struct with_internal_leaves {
    static void visit(const tn *node, walk_totals &totals) {
        if (type_of(node) == TN_INTERN) {
            touch_array(node->in_lfarray, totals);
            touch_leaves(node->in_lfarray, totals);
        }
    }
};

struct with_covers {
    static void visit(const tn *node, walk_totals &totals) {
        if (const leaf_array *array = node->par_bl_larray; array != nullptr) {
            ++totals.covers;
            touch_array(array, totals);
            totals.sum += array->la_leaves[node->par_bl_offset]->key_bits_used;
        }
    }
};

struct with_node_reads {
    static void visit(const tn *node, walk_totals &totals) {
        const uint32_t hw_index = node->hw_index;
        if (type_of(node) == TN_INTERN || hw_index == 0) {
            return;
        }
        uint8_t image[32];
        totals.reads += f_vector.ot_csr_read(
                            0, phu_bank_node_addr(hw_index_bank(hw_index), hw_index_node(hw_index)),
                            1, 1, image) == 0
                            ? 1
                            : 0;
        totals.sum += image[0];
    }
};

template <typename With>
void walk_below(const tn *node, walk_totals &totals) {
    ++totals.nodes;
    totals.hw_nodes += node->hw_index != 0 ? 1 : 0;
    totals.sum += node->hint_sn_word + node->hint_ebmap;
    With::visit(node, totals);
    if (type_of(node) != TN_SEARCH) {
        totals.internal_nodes += type_of(node) == TN_INTERN ? 1 : 0;
        return;
    }
    ++totals.search_nodes;
    const tree_array *array = node->sn_charray;
    const int end = array->ta_nnodes + ((node->tn_flags & tn_inode_flag) != 0 ? 1 : 0);
    for (int slot = 0; slot < end; ++slot) {
        walk_below<With>(array->ta_nodes[slot], totals);
    }
}

template <typename With>
walk_totals walk(const tree_array &root) {
    walk_totals totals;
    for (int slot = 0; slot < root.ta_nnodes; ++slot) {
        if (root.ta_nodes[slot] != nullptr) {
            walk_below<With>(root.ta_nodes[slot], totals);
        }
    }
    return totals;
}

}    // namespace

walk_totals walk_nodes(const tree_array &root) {
    return walk<nodes_only>(root);
}

walk_totals walk_leaf_arrays(const tree_array &root) {
    return walk<with_leaf_arrays>(root);
}

walk_totals walk_leaves(const tree_array &root) {
    return walk<with_leaves>(root);
}

walk_totals walk_internal_leaves(const tree_array &root) {
    return walk<with_internal_leaves>(root);
}

walk_totals walk_covers(const tree_array &root) {
    return walk<with_covers>(root);
}

walk_totals walk_node_reads(const tree_array &root) {
    return walk<with_node_reads>(root);
}
