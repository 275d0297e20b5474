#include "tbm/tn_show.h"

#include <algorithm>

#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "phu/hint_dump.h"
#include "tbm/access.h"
#include "tbm/operator_node.h"
#include "tbm/readable_records.h"

namespace {

inline constexpr int children_shown = 5;    // without the option for all of them

/// A child that is missing or cannot be read shows its address alone.
void print_child(int index, const tn *child, readable_records &memory) {
    const bool known = memory.holds(child);
    plu_debug_printf(
        "  child%3d %p type:%6s hw_index 0x%08x inode:%d", index, static_cast<const void *>(child),
        known ? tn_type_name(child) : tree_node_type[tree_node_types - 1],
        known ? child->hw_index : 0, known ? static_cast<int>(tn_inode_bit(child)) : 0);
    const tree_array *array = known && tn_is_search(child) ? tn_child_array(child) : nullptr;
    if (array == nullptr || !memory.holds(array)) {
        plu_debug_printf("\n");
        return;
    }
    plu_debug_printf(" sn_charray.ta_nnodes:%2d\n", array->ta_nnodes);
}

void print_children(const tn *node, const tree_array *array, bool all, readable_records &memory) {
    const int children = array->ta_nnodes;
    const int inode_exists = array->ta_inode_exists;
    plu_debug_printf("sn_charray->ta_nnodes:%d  sn_charray->ta_inode_exists:%d\n", children,
                     inode_exists);
    const int shown =
        (all ? children : std::min(children, children_shown)) + (inode_exists != 0 ? 1 : 0);
    // Every line may wait for the client while the library changes the array.
    for (int i = 0; i < shown; ++i) {
        const array_slots slots = tree_array_slots(array, node);
        if (i >= slots.count) {
            return;
        }
        print_child(i, slots.nodes[i], memory);
    }
}

void print_inode_leaves(const tn *inode, readable_records &memory) {
    if (!memory.node(inode)) {
        report_not_readable(memory.fault());
        return;
    }
    const leaf_array *array = inode_leaves(inode);    // none when another node hangs there
    if (array == nullptr) {
        plu_debug_printf("inode %p in_lfarray is NULL\n", static_cast<const void *>(inode));
        return;
    }
    plu_debug_printf("inode %p in_lfarray->la_nnodes %d\n", static_cast<const void *>(inode),
                     array->la_nnodes);
    operator_leaves_print(array);
}

void show_search_node(const tn *node, uint64_t options) {
    tn_hint_dump(node);
    plu_debug_printf("sn_ebmap   0x%016lx  (right most 1 => value 0) \n", node->sn_ebmap);
    plu_debug_printf("hint_ebmap 0x%016lx\n", node->hint_ebmap);
    const tree_array *array = tn_child_array(node);    // the node may be another by now
    const bool listed =
        reinterpret_cast<uintptr_t>(array) > reinterpret_cast<uintptr_t>(plu_shm_ctx);
    readable_records memory;
    if (!memory.child_array(node)) {
        if (listed) {
            report_not_readable(memory.fault());
        }
        return;
    }
    if (listed) {
        print_children(node, array, (options & TN_SHOW_ALL_CHILDREN) != 0, memory);
    }
    const tn *inode = (options & TN_SHOW_INODE_LEAVES) != 0 ? tn_inode(node) : nullptr;
    if (inode != nullptr) {
        print_inode_leaves(inode, memory);
    }
}

void show_leaves(const leaf_array *array) {
    if (array == nullptr || !operator_leaves_readable(array)) {
        return;
    }
    plu_debug_printf("in_lfarray->la_nnodes %d (la %p\n", array->la_nnodes,
                     static_cast<const void *>(array));
    operator_leaves_print(array);
}

}    // namespace

void tn_show_content(const tn *node, uint64_t options, bool leaves_only) {
    switch (tn_type_of(node)) {
        case TN_SEARCH:
            if (!leaves_only) {
                show_search_node(node, options);
            }
            break;
        case TN_END:
        case TN_INTERN:
            if (!leaves_only) {
                if (tn_is_end(node)) {
                    tn_hint_dump(node);
                }
                plu_debug_printf("in_ibmap   0x%016lx  ((2^len-1) + val)\n", node->in_ibmap);
            }
            show_leaves(inode_leaves(node));    // a search node by now has none
            break;
        default:
            plu_debug_printf("NODE: type %d\n", static_cast<int>(tn_type_of(node)));
    }
}

void tn_show(const tn *node, uint64_t options, uint64_t mode) {
    const bool leaves_only = mode == tn_leaves_only;
    if (!leaves_only) {
        tn_show_place(node, options);
    }
    tn_show_content(node, options, leaves_only);
    plu_debug_printf("\n");
}
