#include "checks/bmsf_check.h"

#include <gtest/gtest.h>

#include <string>

#include "checks/commands.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

std::string run() {
    return captured([] { cmd_ckbmsf(0, 0, 0); });
}

std::string summary(int total, int non_zero, int zero, int mismatch) {
    return format(
        "\nResults of checking bmsf:\n  total tn nodes:       %7d\n  bmsf match non zero:  %7d\n"
        "  bmsf match  zero:     %7d\n  bmsf MISMATCH:        %7d\n",
        total, non_zero, zero, mismatch);
}

/// The rule for one leaf and one position, bit by bit.
bool covers(const leaf *entry, uint32_t depth, uint32_t position) {
    if (entry->key_bits_used < depth || entry->key_bits_used > depth + 5) {
        return false;
    }
    for (uint32_t bit = depth; bit < entry->key_bits_used; ++bit) {
        if ((entry->key[bit / 8] >> (7 - bit % 8) & 1U) != (position >> (5 - (bit - depth)) & 1U)) {
            return false;
        }
    }
    return true;
}

}    // namespace

TEST(BmsfCheck, CoverIsTheLongestLeafEndingInTheChunk) {
    hand_tree tree;
    tn *inode = tree.add_intern(tree.root());
    const char *prefixes[] = {"10.0.0.0/8",  "10.128.0.0/9",  "10.64.0.0/11", "10.80.0.0/12",
                              "10.4.0.0/14", "10.255.0.0/16", "0.0.0.0/0",    "10.252.0.0/14",
                              "10.0.0.0/6",  "10.84.0.0/13"};
    const int count = std::size(prefixes);
    inode->in_lfarray = tree.make_leaf_array(count + 1);
    for (int i = 0; i < count; ++i) {
        inode->in_lfarray->la_leaves[i] = tree.make_leaf(prefixes[i]);
    }
    for (const uint32_t depth : {18U, 24U, 26U, 30U, 36U}) {
        for (uint32_t position = 0; position < 64; ++position) {
            uint32_t best = 0;
            for (int i = 0; i < count; ++i) {
                const leaf *entry = inode->in_lfarray->la_leaves[i];
                best = std::max(best, covers(entry, depth, position) ? entry->key_bits_used : 0U);
            }
            EXPECT_EQ(inode_best_leaf_bits(inode, depth, static_cast<int>(position)), best)
                << depth << " " << position;
        }
        EXPECT_EQ(inode_best_leaf_bits(inode, depth, -1), 0U);
    }
    inode->tn_flags = TN_SEARCH;    // a damaged inode flag leads to a node with children
    EXPECT_EQ(inode_best_leaf_bits(inode, 24, 0), 0U);
}

TEST(BmsfCheck, DeepestIpv6LeafReadsOnlyItsKey) {
    hand_tree tree;
    tn *inode = tree.add_intern(tree.root());
    inode->in_lfarray = tree.make_leaf_array(1);
    inode->in_lfarray->la_leaves[0] = tree.make_leaf("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128");
    EXPECT_EQ(inode_best_leaf_bits(inode, 144, 0x3f), 146U);
    EXPECT_EQ(inode_best_leaf_bits(inode, 144, 0x30), 146U);
    EXPECT_EQ(inode_best_leaf_bits(inode, 144, 0x2f), 0U);
    inode->in_lfarray->la_leaves[0]->key_bits_used = 305;
    EXPECT_EQ(inode_best_leaf_bits(inode, 300, 0), 305U);
}

TEST(BmsfCheck, EveryCounterHasItsNode) {
    hand_tree tree;
    tree.root()->bmsf = 9;    // a root is not checked
    EXPECT_EQ(run(), summary(0, 0, 0, 0));
    tn *vrf_node = tree.search_at("0.0.0.0/0", 18);
    tree.add_leaf(vrf_node, "0.0.0.0/0");
    tree.add_leaf(vrf_node, "8.0.0.0/5");
    tn *covered = tree.search_at("10.0.0.0/6", 24);
    covered->bmsf = 5;
    tn *by_default = tree.end_at("64.0.0.0/6", 24);    // expects the default prefix: 0 agrees
    tn *inherits = tree.search_at("10.1.0.0/16", 30);
    inherits->bmsf = 5;
    EXPECT_EQ(run(), summary(4, 3, 1, 0));
    inherits->bmsf = 0;    // no hint node yet
    EXPECT_EQ(run(), summary(4, 2, 2, 0));
    inherits->hint_state = HINT_SEARCH;
    by_default->bmsf = 6;
    by_default->hint_state = HINT_END;
    EXPECT_EQ(run(),
              format("bmsf mismatch tn %p bmsf 5 hint bmsf 0 parent_tn %p child 0 of 1, pos 32\n"
                     "bmsf mismatch tn %p bmsf 0 hint bmsf 6 parent_tn %p child 2 of 3, pos 16\n",
                     static_cast<void *>(inherits), static_cast<void *>(covered),
                     static_cast<void *>(by_default), static_cast<void *>(vrf_node)) +
                  summary(4, 1, 1, 2));
    EXPECT_EQ(count_bmsf_tn_nodes, 4);
    EXPECT_EQ(count_bmsf_no_zero_match, 1);
    EXPECT_EQ(count_bmsf_zero_match, 1);
    EXPECT_EQ(count_bmsf_not_match, 2);
}

TEST(BmsfCheck, InternalNodeWithoutAnswerHandsNothingDown) {
    hand_tree tree;
    tn *upper = tree.search_at("0.0.0.0/0", 18);
    tree.add_leaf(upper, "8.0.0.0/5");
    tn *middle = tree.search_at("10.0.0.0/6", 24);
    middle->bmsf = 5;
    tn *lower = tree.search_at("10.0.0.0/12", 30);
    lower->bmsf = 5;
    EXPECT_EQ(run(), summary(3, 2, 1, 0));
    lower->hint_state = HINT_SEARCH;
    tree.add_intern(middle);
    EXPECT_NE(run().find("bmsf 0 hint bmsf 5"), std::string::npos);
    lower->bmsf = 0;
    middle->sn_charray->ta_nodes[0] = nullptr;    // flag without node: as if there were none
    EXPECT_NE(run().find("bmsf 5 hint bmsf 0"), std::string::npos);
}

TEST(BmsfCheck, SeventhMismatchIsShownWithoutParent) {
    hand_tree tree;
    for (uint32_t chunk = 0; chunk < 9; ++chunk) {
        tn *node = tree.add_end(tree.root(), 7 * chunk);
        node->bmsf = 1;
        node->hint_state = HINT_END;
    }
    for (int repeat = 0; repeat < 2; ++repeat) {
        const std::vector<std::string> pieces = captured_pieces([] { cmd_ckbmsf(0, 0, 0); });
        ASSERT_EQ(pieces.size(), 9U * 2 + 5);
        EXPECT_EQ(pieces[11], " child 5 of 9, pos 35\n");
        EXPECT_EQ(pieces[13], "\n");
        EXPECT_EQ(pieces[12].substr(pieces[12].size() - 15), "parent_tn (nil)");
        EXPECT_EQ(count_bmsf_not_match, 9);
    }
}

TEST(BmsfCheck, DamagedTreesEndTheWalkQuietly) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 1);
    tree.add_end(node, 2);
    node->sn_charray->ta_nodes[0] = nullptr;
    EXPECT_EQ(run(), summary(1, 0, 1, 0));
    node->sn_charray->ta_nnodes = -1;
    EXPECT_EQ(run(), summary(1, 0, 1, 0));
    node->sn_charray = nullptr;
    EXPECT_EQ(run(), summary(1, 0, 1, 0));
    node->tn_flags = TN_LEAF;
    EXPECT_EQ(run(), summary(1, 0, 1, 0));
    tree.root()->sn_charray->ta_nodes[0] = tree.root();
    EXPECT_EQ(run(), format("tree deeper than 64 levels at tn %p, walk stopped\n",
                            static_cast<void *>(tree.root())) +
                         summary(63, 0, 63, 0));
    tree.handle()->tbdb_root = nullptr;
    EXPECT_EQ(run(), summary(0, 0, 0, 0));
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(run(), "NULL tbm_handle\n");
}
