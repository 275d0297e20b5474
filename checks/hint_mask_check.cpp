// Verifies three relations of the stored masks, node by node: (inode+child) a hint mask is the
// lengths of the own internal leaves and the hint masks of all children; (int+ext+ebmap) for a
// hinted node the same set is its internal mask, the external masks along its hint subtree and the
// hint masks of the children reached through hint search nodes; (inode & parent) the lengths of an
// internal node are its parent's internal mask and all in its parent's hint mask. Facts used: the
// leaves' lengths and the stored masks. It cannot see: the roots, default prefixes (length 0 has no
// position), which prefix a length comes from, the stored node copies and the hardware itself.
#include "checks/hint_mask_check.h"

#include "checks/child_prefetch.h"
#include "checks/commands.h"
#include "checks/tree_facts.h"
#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "phu/tree_walk.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/locate.h"
#include "tbm/operator_node.h"

namespace {

inline constexpr uint32_t int_ext_lines_max = 4;
inline constexpr uint32_t inode_child_lines_max = 3;

mask128 internal_length_mask(const tn *inode) {
    const leaf_array *leaves = inode_leaves(inode);
    return usable_leaf_count(leaves) > 0 ? leaf_array_length_mask(leaves) : mask128{};
}

bool has_hint(const tn *node) {
    return node->hint_state != HINT_INIT;
}

/// Calls `visit(children, slot, hinted)` for every child slot of a search node; hinted: its group
/// is reached through hint search nodes. Slots behind the last group, in a damaged node, count as
/// that group's.
template <typename Visit>
void for_each_child_slot(const tn *node, const Visit &visit) {
    const child_slots children = tn_child_slots(node);
    const uint64_t hinted = node->hint_ebmap;
    uint64_t left = node->sn_ebmap;
    uint64_t group = 0;
    for (int slot = children.first; slot < children.end; ++slot) {
        group = left == 0 ? group : left & -left;
        left &= left - 1;
        visit(children, slot, (hinted & group) != 0);
    }
}

/// Union of the external masks along a hint subtree. One guard serves all unions of a check: they
/// visit each of the few hinted nodes once per level above it.
struct external_masks {
    mask128 &mask;
    depth_guard &guard;

    void add(const tn *node, int level) {
        if (!tn_is_search(node) || !has_hint(node) || !guard.enter(level, node)) {
            return;
        }
        mask |= node->ext_mask;
        if (node->hint_ebmap == 0) {
            return;
        }
        for_each_child_slot(node, [&](const child_slots &children, int slot, bool hinted) {
            if (hinted && children.nodes[slot] != nullptr && !guard.stopped) {
                add(children.nodes[slot], level + 1);
            }
        });
    }
};

/// The two sets that must agree for a hinted node.
struct mask_sets {
    mask128 inode_child{};      // internal leaves and all children
    mask128 int_ext_ebmap{};    // internal mask, external masks, hinted children
    mask128 int_mask{};         // as read
    mask128 ext_mask{};
};

mask_sets collect(const tn *node, bool hinted_node, hmask_check_stats &stats) {
    mask_sets sets;
    sets.int_mask = node->int_mask;
    sets.ext_mask = node->ext_mask;
    sets.int_ext_ebmap = sets.int_mask;
    if (!tn_is_search(node)) {
        sets.inode_child = tn_is_end(node) ? internal_length_mask(node) : mask128{};
        return sets;
    }
    stats.last_inode = tn_inode(node);
    stats.last_inode_lengths = internal_length_mask(stats.last_inode);
    sets.inode_child = stats.last_inode_lengths;
    if (hinted_node) {
        sets.int_ext_ebmap |= sets.ext_mask;
    }
    external_masks external{sets.int_ext_ebmap, stats.external_guard};
    for_each_child_slot(node, [&](const child_slots &children, int slot, bool hinted) {
        prefetch_next_child(children, slot);
        const tn *child = children.nodes[slot];
        if (child == nullptr) {
            return;
        }
        const mask128 child_mask = child->hint_mask;
        sets.inode_child |= child_mask;
        if (hinted && hinted_node) {
            sets.int_ext_ebmap |= child_mask;
            external.add(child, 1);
        }
    });
    return sets;
}

void report_int_ext(const tn *node, const mask_sets &sets) {
    uint32_t below = 0;
    tn_subtree_count(node, below);
    plu_debug_printf(
        "mismatch: bmsf %d tn %p child:%d\n  hint_mask 0x%016lx %016lx \ntn int mask 0x%016lx "
        "%016lx\ntn ext mask 0x%016lx %016lx\n\n",
        int{node->bmsf}, static_cast<const void *>(node), static_cast<int>(below),
        sets.inode_child.low, sets.inode_child.high, sets.int_mask.low, sets.int_mask.high,
        sets.ext_mask.low, sets.ext_mask.high);
}

void check_internal_node(const tn *inode, const tn *parent, hmask_check_stats &stats) {
    const mask128 lengths =
        inode == stats.last_inode ? stats.last_inode_lengths : internal_length_mask(inode);
    if (!parent->hint_mask.contains(lengths)) {
        ++stats.inode_pfx_not_in_hint;
    }
    if (parent->int_mask == lengths) {
        ++stats.inode_parent_match;
    } else if (has_hint(parent)) {
        ++stats.inode_parent_mismatch;
    }
}

void check_int_ext(const tn *node, const mask_sets &sets, hmask_check_stats &stats) {
    if (sets.inode_child == sets.int_ext_ebmap) {
        ++stats.int_ext_ebmap_match;
        return;
    }
    ++stats.int_ext_ebmap_mismatch;
    if (stats.int_ext_ebmap_shown++ < int_ext_lines_max) {
        report_int_ext(node, sets);
        stats.last_inode = nullptr;    // a line may have waited: the lengths are read again
    }
}

void check_inode_child(const tn *node, const mask128 &expected, hmask_check_stats &stats) {
    const mask128 stored = node->hint_mask;
    if (stored == expected) {
        ++stats.inode_child_match;
        return;
    }
    if (stats.inode_child_mismatch++ < inode_child_lines_max) {
        plu_debug_printf("mismatch: hint_mask 0x%016lx %016lx tn hmask 0x%016lx %016lx, tn %p\n",
                         expected.low, expected.high, stored.low, stored.high,
                         static_cast<const void *>(node));
    }
}

void print_summary(const hmask_check_stats &stats) {
    const auto shown = [](uint32_t count) { return static_cast<int32_t>(count); };
    plu_debug_printf("Results of checking hint mask:\n");
    plu_debug_printf("  inode+child match: %d\n  inode+child MISMATCH: %d\n",
                     shown(stats.inode_child_match), shown(stats.inode_child_mismatch));
    plu_debug_printf("  int+ext+ebmap match: %d \n  int+ext+ebmap MISMATCH: %d\n",
                     shown(stats.int_ext_ebmap_match), shown(stats.int_ext_ebmap_mismatch));
    plu_debug_printf(
        "  inode & parent int mask match: %d \n  inode & parent int mask MISMATCH: %d\n"
        "  inode pfx not in hint_mask: %d\n",
        shown(stats.inode_parent_match), shown(stats.inode_parent_mismatch),
        shown(stats.inode_pfx_not_in_hint));
}

}    // namespace

void hint_ext_mask_union(const tn *node, mask128 &mask) {
    depth_guard guard;
    external_masks{mask, guard}.add(node, 0);
}

void ckhmask_check_tn(tn *node, void *state, uint32_t is_root, tn *parent) {
    auto &stats = *static_cast<hmask_check_stats *>(state);
    if (is_root != 0) {
        return;
    }
    if (parent != nullptr && tn_is_intern(node)) {
        check_internal_node(node, parent, stats);
        return;
    }
    const bool hinted = has_hint(node);
    const mask_sets sets = collect(node, hinted, stats);
    if (stats.external_guard.stopped) {
        return;    // the sets are incomplete
    }
    if (hinted) {
        check_int_ext(node, sets, stats);
    }
    check_inode_child(node, sets.inode_child, stats);
}

void cmd_ckhmask(uint64_t start, uint64_t /*a2*/, uint64_t /*a3*/) {
    hmask_check_stats stats{};
    tn *node = start != 0 && tn_address_valid(start) ? operator_start_node(start) : nullptr;
    if (start != 0) {
        if (node == nullptr) {
            return;
        }
        plu_debug_printf("walk tn tree start from %p\n", static_cast<void *>(node));
    }
    phu_tree_walk(&stats, ckhmask_check_tn, node);
    print_summary(stats);
}
