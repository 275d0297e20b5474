// The way of one prefix, hand-made, for tests of what the tree commands say on it.
#pragma once

#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

/// Way of 10.1.0.0/16: the root, SEARCH nodes behind 18 and 24 key bits, an END node behind 30 that
/// holds the leaf; every node without a hint.
struct small_way {
    explicit small_way(uint16_t vrf = 0)
        : root(tree.root(vrf >> 6)),
          vrf_node(tree.search_at("10.0.0.0/8", 18, vrf)),
          node(tree.search_at("10.0.0.0/8", 24, vrf)),
          end(tree.end_at("10.1.0.0/16", 30, vrf)),
          end_leaf(tree.add_leaf(end, "10.1.0.0/16", vrf)) {}

    /// A reply with the nodes' addresses replaced by ROOT, VRF, NODE, END, LA (the leaf array).
    [[nodiscard]] std::string named(const std::string &text) const {
        const void *array = end->in_lfarray;
        return ::named(
            text, {{root, "ROOT"}, {vrf_node, "VRF"}, {node, "NODE"}, {end, "END"}, {array, "LA"}});
    }

    hand_tree tree;
    tn *root, *vrf_node, *node, *end;
    leaf *end_leaf;
};
