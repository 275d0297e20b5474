#include "tbm/count_prefixes.h"

#include "reply/reply.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tbm/start_node.h"
#include "tbm/tree_walk.h"

mask128 leaf_mask = {};

namespace {

constexpr uint32_t warnings_shown = 6;

struct prefix_statistics {
    uint32_t internal_leaves;
    uint32_t end_leaves;
    uint32_t init_hw_index;
    uint32_t in_sn_ebmap;
    uint32_t hw_index[4];      // by hint state, state 0 unused
    uint32_t hint_ebmap[4];    // nodes with a hint bitmap, by hint state
    uint32_t any_hw_index;
    uint32_t any_hint_ebmap;
    uint32_t hw_index_and_ebmap;
    uint32_t any_sn_ebmap;
    uint32_t sn_and_hint_ebmap;
    uint32_t sn_equals_hint_ebmap;
    uint32_t hint_ebmap_and_ext_mask;
    uint32_t hint_mask_equal;
    uint32_t hint_mask_differs;
    uint32_t ext_mask;
    uint32_t warnings;
    uint32_t inode_inside;
    uint32_t inode_outside;
    uint32_t end_with_leaves;
    uint32_t end_without_leaves;
    uint32_t end_mask_equal;
    uint32_t end_mask_differs;
    uint32_t init_with_parent_leaves;

    void count_state(const tn *node, uint8_t state);
    void count_inode(const tn *node, const tn *parent);
    void count_end(const tn *node);
    void count_bitmaps(const tn *node, uint8_t state);
    void count_masks_without_hints(const tn *node, uint8_t state);
    void print() const;

    bool warn() { return warnings++ < warnings_shown; }
};

void set_leaf_mask(const leaf_slots &slots) {
    mask128 lengths{};
    for_each_leaf(slots, unreadable::named, [&](const leaf *entry) {
        mask_set_from_left(lengths, entry->key_bits_used - tbm_header_bits);
    });
    leaf_mask = lengths;
}

void prefix_statistics::count_state(const tn *node, uint8_t state) {
    if (node->hw_index != 0) {
        if (state != HINT_INIT) {
            ++any_hw_index;
            ++hw_index[state <= HINT_END ? state : 0];
        } else if (tn_is_search(node)) {
            ++init_hw_index;
        }
    }
    if (state == HINT_INIT && node->par_bl_larray != nullptr) {
        ++init_with_parent_leaves;
    }
}

/// The leaves of an internal node must be announced by the node that it belongs to; a walk that
/// starts at an internal node knows none.
void prefix_statistics::count_inode(const tn *node, const tn *parent) {
    const leaf_array *array = inode_leaves(node);
    if (array == nullptr) {
        return;
    }
    const leaf_slots slots = leaf_array_slots(array);
    internal_leaves += static_cast<uint32_t>(slots.count);
    if (parent == nullptr) {
        return;
    }
    set_leaf_mask(slots);
    if (parent->hint_mask.contains(leaf_mask)) {
        ++inode_inside;
        return;
    }
    ++inode_outside;
    if (warn()) {
        plu_debug_printf("tn %p inode pfx not in parent hint_mask\n",
                         static_cast<const void *>(node));
    }
}

void prefix_statistics::count_end(const tn *node) {
    const leaf_array *array = inode_leaves(node);
    if (array == nullptr) {
        ++end_without_leaves;
        return;
    }
    const leaf_slots slots = leaf_array_slots(array);
    end_leaves += static_cast<uint32_t>(slots.count);
    ++end_with_leaves;
    set_leaf_mask(slots);
    if (leaf_mask == node->hint_mask) {
        ++end_mask_equal;
        return;
    }
    ++end_mask_differs;
    if (warn()) {
        plu_debug_printf("tn %p with hint_mask != int+ext\n", static_cast<const void *>(node));
    }
}

void prefix_statistics::count_bitmaps(const tn *node, uint8_t state) {
    const uint64_t hinted = node->hint_ebmap;
    const uint64_t groups = node->sn_ebmap;
    if (groups != 0) {
        ++any_sn_ebmap;
        sn_and_hint_ebmap += hinted != 0 ? 1 : 0;
        sn_equals_hint_ebmap += hinted == groups ? 1 : 0;
    }
    if (hinted == 0) {
        count_masks_without_hints(node, state);
        return;
    }
    ++any_hint_ebmap;
    ++hint_ebmap[state <= HINT_END ? state : 0];
    in_sn_ebmap += (hinted & ~groups) == 0 ? 1 : 0;
    hw_index_and_ebmap += node->hw_index != 0 ? 1 : 0;
    hint_ebmap_and_ext_mask += node->ext_mask.empty() ? 0 : 1;
}

void prefix_statistics::count_masks_without_hints(const tn *node, uint8_t state) {
    const mask128 ext = node->ext_mask;
    if ((node->int_mask | ext) == node->hint_mask) {
        ++hint_mask_equal;
    } else if (state != HINT_INIT) {
        ++hint_mask_differs;
    }
    ext_mask += ext.empty() ? 0 : 1;
}

void count_node(tn *node, prefix_statistics &statistics, uint32_t is_root, tn *parent) {
    if (is_root != 0) {
        return;
    }
    const uint8_t hint_state = node->hint_state;
    statistics.count_state(node, hint_state);
    if (tn_is_intern(node)) {
        statistics.count_inode(node, parent);
    } else if (tn_is_end(node)) {
        statistics.count_end(node);
    } else {
        statistics.count_bitmaps(node, hint_state);
    }
}

void prefix_statistics::print() const {
    plu_debug_printf(
        "Prefix: %d (internal count %d end count %d), INIT hw index %d, hbmap %d in sn_ebmap %d\n",
        internal_leaves + end_leaves, internal_leaves, end_leaves, init_hw_index, any_hint_ebmap,
        in_sn_ebmap);
    plu_debug_printf("hwidx %d ebmap %d idx+ebmap %d\n", any_hw_index, any_hint_ebmap,
                     hw_index_and_ebmap);
    plu_debug_printf("ebmap s %d se%d e %d\n", hint_ebmap[HINT_SEARCH], hint_ebmap[HINT_SEARCH_END],
                     hint_ebmap[HINT_END]);
    plu_debug_printf("hwidx search %d end %d search_end %d\n", hw_index[HINT_SEARCH],
                     hw_index[HINT_END], hw_index[HINT_SEARCH_END]);
    plu_debug_printf(
        "h_ebmap %d sn_ebmap %d sn and h ebmap %d sn eq h ebmap %d heb and ext_mask %d\n",
        any_hint_ebmap, any_sn_ebmap, sn_and_hint_ebmap, sn_equals_hint_ebmap,
        hint_ebmap_and_ext_mask);
    plu_debug_printf("h_eq_int_n_ext %d h_neq_int_n_ext %d ext %d\n", hint_mask_equal,
                     hint_mask_differs, ext_mask);
    plu_debug_printf("internal node prefix mask match parent hint_mask %d not match %d\n",
                     inode_inside, inode_outside);
    plu_debug_printf("end node with pfx %d, w/o pfx %d end node pfx eq hmask %d neq %d\n",
                     end_with_leaves, end_without_leaves, end_mask_equal, end_mask_differs);
    plu_debug_printf("%d tn in hint state INIT but having par bl larray pointer set\n",
                     init_with_parent_leaves);
}

}    // namespace

void cmd_cntpfx(uint64_t start, uint64_t, uint64_t) {
    const start_node from = announced_start(start, false);
    if (from.refused) {
        return;
    }
    prefix_statistics statistics{};
    phu_tree_walk<count_node>(statistics, from.node);
    statistics.print();
}
