// Verifies, for every node below the roots, that the stored bmsf is the length of the longest leaf
// that covers the node in its parent's internal node; a parent without an internal node hands its
// own expected value down. Facts used: the leaves of the internal nodes and the places of the
// children (set bits of sn_ebmap, one per slot). It cannot see: the roots' own bmsf, covers that a
// leaf stored higher up gives, nodes without a hint node (never a mismatch), what the hardware
// holds, and it takes every level for one 6-bit chunk whatever the node's stride says.
#include "checks/bmsf_check.h"

#include <algorithm>

#include "checks/child_prefetch.h"
#include "checks/commands.h"
#include "checks/tree_facts.h"
#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"
#include "tbm/key.h"
#include "tbm/locate.h"

extern "C" {
int32_t count_bmsf_tn_nodes = 0;
int32_t count_bmsf_no_zero_match = 0;
int32_t count_bmsf_zero_match = 0;
int32_t count_bmsf_not_match = 0;
}

namespace {

inline constexpr uint32_t parent_searches_max = 6;    // each is a search of the whole tree

uint32_t bmsf_parent_search_count = 0;

/// Parent of a node as the tree has it; null when it is not found.
const tn *located_parent(const tn *node) {
    tn_path path;
    tn_locate(node, path);
    return tn_path_parent(path);
}

/// Completes a mismatch line with the node's place among the parent's children.
void print_place(const tn *node, const tn *parent) {
    const child_slots children = tn_child_slots(parent);
    int position = -1;
    for (int slot = children.first; slot < children.end; ++slot) {
        position = sn_ebmap_next(parent, position);
        if (children.nodes[slot] == node) {
            plu_debug_printf(" child %d of %d, pos %d\n", slot, children.end, position);
            return;
        }
    }
}

void report_mismatch(const tn *node, uint32_t expected, uint8_t stored) {
    const tn *parent =
        bmsf_parent_search_count++ < parent_searches_max ? located_parent(node) : nullptr;
    const uint32_t length = expected < tbm_header_bits ? 0 : expected - tbm_header_bits;
    plu_debug_printf("bmsf mismatch tn %p bmsf %d hint bmsf %d parent_tn %p",
                     static_cast<const void *>(node), static_cast<int>(length), int{stored},
                     static_cast<const void *>(parent));
    if (parent == nullptr) {
        plu_debug_printf("\n");
    } else {
        print_place(node, parent);
    }
}

void check_node(const tn *node, uint32_t expected) {
    const uint8_t stored = node->bmsf;
    ++count_bmsf_tn_nodes;
    if (expected == 0 && stored == 0) {
        ++count_bmsf_zero_match;
    } else if (stored + tbm_header_bits == expected) {
        ++count_bmsf_no_zero_match;
    } else if (node->hint_state == HINT_INIT) {
        ++count_bmsf_zero_match;
    } else {
        ++count_bmsf_not_match;
        report_mismatch(node, expected, stored);
    }
}

}    // namespace

covering_leaf_bits inode_best_leaves(const tn *inode, uint32_t depth) {
    covering_leaf_bits best{};
    const leaf_array *leaves = internal_leaves(inode);
    for (int i = 0; i < usable_leaf_count(leaves); ++i) {
        const leaf *entry = leaves->la_leaves[i];
        if (entry == nullptr) {
            continue;
        }
        const uint16_t bits = entry->key_bits_used;
        if (bits < depth || bits >= depth + tbm_stride_bits) {
            continue;
        }
        const uint32_t free_bits = tbm_stride_bits - (bits - depth);
        const uint32_t first = tbm_key_chunk(entry->key, depth) >> free_bits << free_bits;
        for (uint32_t position = first; position < first + (1U << free_bits); ++position) {
            best.at[position] = std::max(best.at[position], bits);
        }
    }
    return best;
}

uint32_t inode_best_leaf_bits(const tn *inode, uint32_t depth, int32_t position) {
    return position < 0 || position >= child_positions
               ? 0
               : inode_best_leaves(inode, depth).at[position];
}

void bmsf_check_tn(const tn *node, uint32_t expected, uint32_t depth, bool is_root,
                   depth_guard &guard) {
    if (!guard.enter(static_cast<int>((depth - tbm_root_bits) / tbm_stride_bits), node)) {
        return;
    }
    if (!is_root) {
        check_node(node, expected);
    }
    if (!tn_is_search(node)) {
        return;
    }
    const child_slots children = tn_child_slots(node);
    if (children.end <= children.first) {
        return;
    }
    prefetch_node(children.nodes[children.first]);
    const tn *inode = tn_inode(node);
    const covering_leaf_bits best =
        inode == nullptr ? covering_leaf_bits{} : inode_best_leaves(inode, depth);
    int position = -1;
    for (int slot = children.first; slot < children.end && !guard.stopped; ++slot) {
        position = sn_ebmap_next(node, position);
        prefetch_next_child(children, slot);
        const tn *child = children.nodes[slot];
        if (child == nullptr) {
            continue;
        }
        const uint32_t from_inode = position < 0 ? 0U : best.at[position];
        bmsf_check_tn(child, inode == nullptr ? expected : from_inode, depth + tbm_stride_bits,
                      false, guard);
    }
}

void cmd_ckbmsf(uint64_t /*a1*/, uint64_t /*a2*/, uint64_t /*a3*/) {
    const tbm_handle_record *handle = tbm_handle_derive();
    if (handle == nullptr) {
        plu_debug_printf("NULL tbm_handle\n");
        return;
    }
    count_bmsf_tn_nodes = 0;
    count_bmsf_no_zero_match = 0;
    count_bmsf_zero_match = 0;
    count_bmsf_not_match = 0;
    bmsf_parent_search_count = 0;
    const tree_array *root = tbdb_root_of(handle);
    depth_guard guard;
    for (int slot = 0; root != nullptr && slot < root->ta_nnodes; ++slot) {
        if (const tn *node = root->ta_nodes[slot]; node != nullptr) {
            bmsf_check_tn(node, 0, tbm_root_bits, true, guard);
        }
    }
    plu_debug_printf("\nResults of checking bmsf:\n");
    plu_debug_printf("  total tn nodes:       %7d\n", count_bmsf_tn_nodes);
    plu_debug_printf("  bmsf match non zero:  %7d\n", count_bmsf_no_zero_match);
    plu_debug_printf("  bmsf match  zero:     %7d\n", count_bmsf_zero_match);
    plu_debug_printf("  bmsf MISMATCH:        %7d\n", count_bmsf_not_match);
}
