#include "phu/tn_place.h"

#include "reply/refusals.h"
#include "reply/reply.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/locate.h"
#include "tbm/subtree_count.h"

namespace {

/// Name by the lowest two type bits.
const char *short_type_name(const tn *node) {
    return tree_node_type[tn_type_of(node) % 4];
}

/// Sends the first n address pieces of a path, dotted, then packed as "(0xHEX)/LENGTH".
void print_pieces(const tn_path &path, int n) {
    const uint8_t *pieces = path.pieces + 3;
    for (int i = 0; i < n; ++i) {
        if (i != 0) {
            plu_debug_printf(".");
        }
        plu_debug_printf("%d", pieces[i]);
    }
    uint8_t packed[tn_path_pieces];
    six_bit_pack(pieces, n, packed);
    plu_debug_printf("(0x");
    for (int i = 0; i < six_bit_bytes(n); ++i) {
        plu_debug_printf("%02X", packed[i]);
    }
    plu_debug_printf(")/%d", 6 * n);
}

void print_chain(const tn_path &path, const uint32_t *counts) {
    for (int i = 0; i < static_cast<int>(path.depth); ++i) {
        const tn *node = path.nodes[i];
        if (node == nullptr) {
            continue;
        }
        const tn *parent = i == 0 ? tn_path_root(path) : path.nodes[i - 1];
        plu_debug_printf("NODE %6s addr: %p parent: %p child:%d  ", short_type_name(node),
                         static_cast<const void *>(node), static_cast<const void *>(parent),
                         static_cast<int>(counts[i]));
        print_pieces(path, i);
        plu_debug_printf(" vrf:%d hw index:0x%08x\n", tn_path_vrf(path), node->hw_index);
    }
}

/// Does not count when the search has met a bound: the count would, too.
void locate_and_count(const tn *node, tn_path &path, depth_guard &guard, uint32_t &count) {
    tn_locate(node, path);
    if (guard.enter(0, node)) {
        tn_subtree_count(node, count);
    }
}

/// Counts the chain's subtrees from the inside out, so that no node is visited twice; `guard` ends
/// it with the first count that does not end.
void count_chain(const tn_path &path, counted_subtree inner, depth_guard &guard, uint32_t *counts) {
    for (int i = static_cast<int>(path.depth) - 1; i >= 0; --i) {
        if (path.nodes[i] != nullptr && guard.enter(i, path.nodes[i])) {
            tn_subtree_count(path.nodes[i], counts[i], inner);
            inner = {path.nodes[i], counts[i]};
        }
    }
}

void print_own_line_end(const tn_path &path, uint32_t count) {
    const tn *parent = tn_path_parent(path);
    plu_debug_printf(" parent: %p child:%d   ", static_cast<const void *>(parent),
                     static_cast<int>(count));
    if (parent == nullptr) {
        plu_debug_printf("\n");
        return;
    }
    print_pieces(path, static_cast<int>(path.depth));
    plu_debug_printf(" vrf:%d\n", tn_path_vrf(path));
}

}    // namespace

void tn_show_place(const tn *node, uint64_t options) {
    const bool chain = (options & TN_SHOW_CHAIN) != 0;
    const bool placed = chain || (options & TN_SHOW_PARENT) != 0;
    tn_path path{};
    uint32_t count = 0;
    depth_guard guard;
    if (chain) {
        locate_and_count(node, path, guard, count);
        uint32_t counts[tn_path_nodes] = {};
        count_chain(path, {node, count}, guard, counts);
        print_chain(path, counts);
    }
    plu_debug_printf("NODE %6s addr: %p", short_type_name(node), static_cast<const void *>(node));
    if (!placed) {
        plu_debug_printf("\n");
        return;
    }
    if (!chain) {
        locate_and_count(node, path, guard, count);
    } else if (path.found == 0) {
        tbm_handle_or_report();    // the line that a second search without a tree sends
    }
    print_own_line_end(path, count);
}
