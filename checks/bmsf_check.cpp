// Verifies, for every node below the roots, that the stored bmsf is the length of the longest leaf
// that covers the node in its parent's internal node; a parent without an internal node hands its
// own expected value down. Facts used: the leaves of the internal nodes and the places of the
// children (set bits of sn_ebmap, one per slot). It cannot see: the roots' own bmsf, covers that a
// leaf stored higher up gives, nodes without a hint node (never a mismatch), what the hardware
// holds, and it takes every level for one 6-bit chunk whatever the node's stride says.
#include "checks/bmsf_check.h"

#include "checks/commands.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "shm/contexts.h"
#include "tbm/descent.h"
#include "tbm/locate.h"

extern "C" {
int32_t count_bmsf_tn_nodes = 0;
int32_t count_bmsf_no_zero_match = 0;
int32_t count_bmsf_zero_match = 0;
int32_t count_bmsf_not_match = 0;
}

namespace {

constexpr int child_positions = 64;
constexpr uint32_t parent_searches_max = 6;    // each is a search of the whole tree

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
        if (current(children.nodes[slot]) == node) {
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
    if (stored + tbm_header_bits == expected) {
        ++count_bmsf_no_zero_match;
    } else if ((expected == 0 && stored == 0) || node->hint_state == HINT_INIT) {
        ++count_bmsf_zero_match;
    } else {
        ++count_bmsf_not_match;
        report_mismatch(node, expected, stored);
    }
}

/// Child positions that the leaves of an internal node cover, by the number of chunk bits that a
/// leaf uses: bit p of by_length[n] is position p. One pass over the leaves serves all positions.
struct covered_positions {
    uint32_t depth;    // key bit at which the chunk of the children starts
    uint64_t by_length[tbm_stride_bits];
};

/// Key bits of the longest leaf that covers a child position; 0 for none and for a position outside
/// 0 to 63.
uint32_t inode_best_leaf_bits(const covered_positions &covered, int32_t position) {
    if (position < 0 || position >= child_positions) {
        return 0;
    }
    for (uint32_t used = tbm_stride_bits; used-- > 0;) {
        if ((covered.by_length[used] >> position & 1) != 0) {
            return covered.depth + used;
        }
    }
    return 0;
}

/// Positions covered by the leaves whose prefix ends inside the 6-bit chunk at key bit `depth`.
covered_positions inode_covered_positions(const tn *inode, uint32_t depth) {
    // A leaf that uses n bits of the chunk covers 2^(6 - n) neighbouring positions.
    static constexpr uint64_t width[tbm_stride_bits] = {~uint64_t{0}, 0xffffffff, 0xffff,
                                                        0xff,         0xf,        0x3};
    covered_positions covered{depth, {}};
    for_each_leaf(leaf_array_slots(inode_leaves(inode)), unreadable::named, [&](const leaf *entry) {
        const uint32_t used = entry->key_bits_used - depth;
        if (used < tbm_stride_bits) {
            const uint32_t free_bits = tbm_stride_bits - used;
            const uint32_t first = tbm_key_chunk(entry->key, depth) >> free_bits << free_bits;
            covered.by_length[used] |= width[used] << first;
        }
    });
    return covered;
}

struct bmsf_check_tn {
    static constexpr descent_rules rules{
        .odd_types = true, .prefetch = true, .faults = unreadable::named};
    using handed = uint32_t;    // expected value in key bits, 0: nothing covers the node
    struct kept {
        const tn *inode;
        uint32_t expected;
        covered_positions covered;
    };

    static way at(const tn *node, const tree_place &place, handed expected) {
        if (!place.root) {
            check_node(node, expected);
        }
        return way::down;
    }
    static bool into(const tn *node, const tree_place &place, handed expected,
                     const child_slots &children, kept &own) {
        if (children.end <= children.first) {
            return false;
        }
        own.inode = slot_0_inode_named(node, children);
        own.expected = expected;
        own.covered = inode_covered_positions(
            own.inode, tbm_root_bits + tbm_stride_bits * static_cast<uint32_t>(place.level));
        return true;
    }
    static handed below(const kept &own, int position) {
        return own.inode == nullptr ? own.expected : inode_best_leaf_bits(own.covered, position);
    }
};

}    // namespace

void cmd_ckbmsf(uint64_t /*a1*/, uint64_t /*a2*/, uint64_t /*a3*/) {
    const tbm_handle_record *handle = tbm_handle_derive_or_report();
    if (handle == nullptr) {
        return;
    }
    count_bmsf_tn_nodes = 0;
    count_bmsf_no_zero_match = 0;
    count_bmsf_zero_match = 0;
    count_bmsf_not_match = 0;
    bmsf_parent_search_count = 0;
    bmsf_check_tn check;
    tree_descent descent(check);
    descent.from_roots(tbdb_root_of(handle));
    plu_debug_printf("\nResults of checking bmsf:\n");
    plu_debug_printf("  total tn nodes:       %7d\n", count_bmsf_tn_nodes);
    plu_debug_printf("  bmsf match non zero:  %7d\n", count_bmsf_no_zero_match);
    plu_debug_printf("  bmsf match  zero:     %7d\n", count_bmsf_zero_match);
    plu_debug_printf("  bmsf MISMATCH:        %7d\n", count_bmsf_not_match);
}
