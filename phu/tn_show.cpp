#include "phu/tn_show.h"

#include <algorithm>

#include "phu/hint_dump.h"
#include "phu/tn_place.h"
#include "reply/reply.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/leaf_lines.h"

namespace {

constexpr int children_shown = 5;    // without the option for all of them

/// A child that is missing or cannot be read shows its address alone.
void print_child(int index, const tn *child) {
    const bool known = readable_memory::holds(child);
    plu_debug_printf(
        "  child%3d %p type:%6s hw_index 0x%08x inode:%d", index, static_cast<const void *>(child),
        known ? tn_type_name(child) : tree_node_type[tree_node_types - 1],
        known ? child->hw_index : 0, known ? static_cast<int>(tn_inode_bit(child)) : 0);
    const tree_array *array = known && tn_is_search(child) ? current(child->sn_charray) : nullptr;
    if (!readable_memory::holds(array)) {
        plu_debug_printf("\n");
        return;
    }
    plu_debug_printf(" sn_charray.ta_nnodes:%2d\n", current(array->ta_nnodes));
}

/// Slots of a child array that the tn command lists: one more than its count when it claims an
/// internal node, whatever the node says.
child_slots listed_slots(const tn *node, const tree_array *array) {
    child_slots slots = tn_child_slots(node);
    if (slots.array != array || slots.fault == array) {
        return {.array = array};
    }
    const int end = std::max<int>(current(array->ta_nnodes), 0) +
                    (slots.first == 1 || current(array->ta_inode_exists) != 0 ? 1 : 0);
    tn **nodes = current(array->ta_nodes);
    if (nodes == nullptr || end == 0) {
        return {.array = array};
    }
    return readable_memory::holds_slots(nodes, end) ? child_slots{array, nodes, 0, end, nullptr}
                                                    : child_slots{.array = array, .fault = nodes};
}

void print_children(const tn *node, const tree_array *array, bool all) {
    const int children = current(array->ta_nnodes);
    const int inode_exists = current(array->ta_inode_exists);
    plu_debug_printf("sn_charray->ta_nnodes:%d  sn_charray->ta_inode_exists:%d\n", children,
                     inode_exists);
    const int shown =
        (all ? children : std::min(children, children_shown)) + (inode_exists != 0 ? 1 : 0);
    // Every line may wait for the client while the library changes the array.
    for (int i = 0; i < shown; ++i) {
        const child_slots slots = listed_slots(node, array);
        if (slots.fault != nullptr) {
            report_unreadable(slots.fault);
        }
        if (i >= slots.end) {
            return;
        }
        print_child(i, current(slots.nodes[i]));
    }
}

void print_inode_leaves(const tn *inode) {
    const leaf_array *array = inode_leaves(inode);    // none when another node hangs there
    if (array == nullptr) {
        plu_debug_printf("inode %p in_lfarray is NULL\n", static_cast<const void *>(inode));
        return;
    }
    if (readable_memory::holds(array)) {
        plu_debug_printf("inode %p in_lfarray->la_nnodes %d\n", static_cast<const void *>(inode),
                         current(array->la_nnodes));
    }
    leaf_array_print(array);
}

/// The internal node's leaves, when the options ask for them.
void show_inode(const tn *node) {
    const child_slots children = tn_child_slots(node);
    const tn *stored = children.first == 1 ? current(children.nodes[0]) : nullptr;
    if (stored != nullptr && !readable_memory::holds(stored)) {
        report_unreadable(stored);
    } else if (stored != nullptr) {
        print_inode_leaves(stored);
    }
}

void show_search_node(const tn *node, uint64_t options) {
    tn_hint_dump(node);
    plu_debug_printf("sn_ebmap   0x%016lx  (right most 1 => value 0) \n", node->sn_ebmap);
    plu_debug_printf("hint_ebmap 0x%016lx\n", node->hint_ebmap);
    const child_slots children = tn_child_slots(node);    // the node may be another by now
    if (reinterpret_cast<uintptr_t>(children.array) > reinterpret_cast<uintptr_t>(plu_shm_ctx)) {
        if (children.fault != nullptr) {
            report_unreadable(children.fault);
        }
        if (children.fault != children.array) {
            print_children(node, children.array, (options & TN_SHOW_ALL_CHILDREN) != 0);
        }
    }
    if ((options & TN_SHOW_INODE_LEAVES) != 0) {
        show_inode(node);
    }
}

void show_leaves(const leaf_array *array) {
    if (array == nullptr) {
        return;
    }
    if (readable_memory::holds(array)) {
        plu_debug_printf("in_lfarray->la_nnodes %d (la %p\n", current(array->la_nnodes),
                         static_cast<const void *>(array));
    }
    leaf_array_print(array);
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
