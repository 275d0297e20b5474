#include "tbm/locate.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cstring>

#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"

namespace {

uint32_t subtree_count(const tn *node) {
    uint32_t count = 0;
    tn_subtree_count(node, count);
    return count;
}

/// Hides the leaves of nodes that are END or INTERN, or shows them again.
void negate_leaf_counts(const std::vector<tn *> &nodes) {
    for (const tn *node : nodes) {
        if (!tn_is_search(node)) {
            node->in_lfarray->la_nnodes = -node->in_lfarray->la_nnodes;
        }
    }
}

std::string text_of(const char *text) {
    return text == nullptr ? "(none)" : text;
}

}    // namespace

TEST(Locate, SixBitPackFillsBytesFromTheLeft) {
    const uint8_t values[] = {0x3f, 0, 0x2a, 0x15, 0x20};
    const uint8_t expected[6][4] = {
        {}, {0xfc}, {0xfc, 0}, {0xfc, 0x0a, 0x80}, {0xfc, 0x0a, 0x95}, {0xfc, 0x0a, 0x95, 0x80}};
    for (int n = 0; n <= 5; ++n) {
        SCOPED_TRACE(n);
        uint8_t packed[4] = {};
        six_bit_pack(values, n, packed);
        EXPECT_EQ(memcmp(packed, expected[n], 4), 0);
    }
}

TEST(Locate, PathNamesParentRootVrfAndPrefix) {
    hand_tree tree;
    tn *target = tree.end_at("10.1.2.0/24", 36, 0xabcd);
    tn *parent = tree.search_at("10.1.2.0/24", 30, 0xabcd);
    tn *below_root = tree.search_at("10.0.0.0/8", 18, 0xabcd);
    tn *root = tree.root(0xabcd >> 6);
    tree.end_at("10.0.0.0/8", 24, 0xabcc);    // passed before the target
    tn_path path;
    tn_locate(target, path);
    EXPECT_EQ(path.found, 1U);
    EXPECT_EQ(path.depth, 3U);
    EXPECT_EQ(tn_path_parent(path), parent);
    EXPECT_EQ(path.nodes[0], below_root);
    EXPECT_EQ(tn_path_root(path), root);
    EXPECT_EQ(tn_path_vrf(path), 0xabcd);
    EXPECT_STREQ(tn_path_prefix_text(target), "0x0A0100/18");

    tn_locate(below_root, path);
    EXPECT_EQ(tn_path_parent(path), root);
    EXPECT_STREQ(tn_path_prefix_text(below_root), "0x/0");

    tn_locate(root, path);
    EXPECT_EQ(path.found, 0U);
    EXPECT_EQ(tn_path_parent(path), nullptr);
    EXPECT_EQ(tn_path_prefix_text(root), nullptr);
    EXPECT_EQ(tn_path_prefix_text(nullptr), nullptr);
}

TEST(Locate, InternalNodeHasPieceZeroAtItsOwnLevel) {
    hand_tree tree;
    tn *node = tree.search_at("252.0.0.0/6", 24);
    tree.end_at("252.252.0.0/14", 30);
    tree.add_leaf(node, "252.0.0.0/6");
    EXPECT_STREQ(tn_path_prefix_text(tn_inode(node)), "0xFC00/12");
}

TEST(Locate, GroupOfASlotFollowsTheStride) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 0, 8);    // 4 slots a group
    tree.add_intern(node);
    tn *far = tree.add_end(node, 4 * 40 + 3);
    tree.add_end(node, 4 * 7 + 1);
    tn_path path;
    tn_locate(far, path);
    EXPECT_EQ(path.pieces[3], 40);
    node->tn_flags = static_cast<uint16_t>((node->tn_flags & ~0xf0) | 5 << tn_stride_shift);
    tn_locate(far, path);
    EXPECT_EQ(path.pieces[3], 40);    // slots beyond the bitmap keep its last group
}

TEST(Locate, ChildTextEqualsALookupOfEachChild) {
    hand_tree tree;
    tn *deep = tree.search_at("10.1.2.0/24", 36, 3);
    for (tn *parent : {tree.root(), tree.search_at("10.0.0.0/8", 18, 3), deep}) {
        for (uint32_t group : {9U, 33U, 63U}) {
            tn *child = tree.add_end(parent, group);
            tn_path path;
            ASSERT_TRUE(tn_locate_children(parent, path));
            const std::string text = tn_path_child_text(path, child, group);
            EXPECT_EQ(text, text_of(tn_path_prefix_text(child)));
        }
    }
    tn stranger{};
    tn_path path;
    EXPECT_FALSE(tn_locate_children(&stranger, path));
}

TEST(Locate, SubtreeCountAddsInodeFlagsAndChildSlots) {
    hand_tree tree;
    tn *top = tree.search_at("10.0.0.0/8", 24);
    tn *end = tree.end_at("10.1.2.0/24", 36);
    EXPECT_EQ(subtree_count(top), 3U);    // two slots and the end node's own flag
    tree.add_intern(top);
    EXPECT_EQ(subtree_count(top), 4U);
    EXPECT_EQ(subtree_count(end), 1U);
    tn *middle = tree.search_at("10.1.2.0/24", 30);
    middle->sn_charray->ta_nodes[0] = nullptr;
    EXPECT_EQ(subtree_count(top), 3U);    // an empty slot still counts, nothing below it
    uint32_t count = 0;
    tn_subtree_count(top, count, {middle, 100});
    EXPECT_EQ(count, 102U);
}

TEST(Locate, WithoutATreeEveryCallSaysSo) {
    hand_tree tree;
    tn *node = tree.end_at("10.0.0.0/8", 24);
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(captured([&] { EXPECT_EQ(tn_path_prefix_text(node), nullptr); }),
              "NULL tbm_handle\n");
}

TEST(Locate, CycleEndsTheSearchOnce) {
    hand_tree tree;
    tn *node = tree.search_at("10.0.0.0/8", 24);
    tn *child = tree.add_search(node, 1);
    tree.add_end(child, 1);
    child->sn_charray->ta_nodes[0] = node;
    tn *behind = tree.add_end(node, 2);
    tn_path path;
    const auto pieces = captured_pieces([&] { tn_locate(behind, path); });
    EXPECT_EQ(path.found, 0U);
    EXPECT_EQ(pieces.size(), 1U);
    uint32_t count = 0;
    EXPECT_EQ(captured_pieces([&] { tn_subtree_count(node, count); }).size(), 1U);
}

TEST(Locate, FollowingALeafFindsWhatAFullSearchFinds) {
    hand_tree tree;
    std::vector<tn *> nodes;
    for (const char *prefix : {"10.1.2.0/24", "10.1.128.0/20", "200.0.0.0/8", "2001:db8::/32"}) {
        nodes.push_back(tree.search_at(prefix, 18, 700));
        nodes.push_back(tree.search_at(prefix, 24, 700));
    }
    for (const char *prefix : {"10.1.2.0/24", "10.16.0.0/16", "200.64.0.0/16", "2001:db8::/32"}) {
        tn *end = tree.end_at(prefix, 30, 700);
        nodes.push_back(end);
        end->in_lfarray = tree.make_leaf_array(1);
        end->in_lfarray->la_leaves[0] = tree.make_leaf(prefix, 700);
    }
    tree.add_leaf(nodes[1], "10.0.0.0/8", 700);
    nodes.push_back(tn_inode(nodes[1]));
    for (const tn *node : nodes) {
        tn_path followed;
        tn_locate(node, followed);
        const std::string text = text_of(tn_path_prefix_text(node));
        negate_leaf_counts(nodes);
        tn_path searched;
        tn_locate(node, searched);
        EXPECT_EQ(searched.found, 1U);
        EXPECT_EQ(followed.found, 1U);
        EXPECT_EQ(followed.depth, searched.depth);
        EXPECT_TRUE(
            std::equal(searched.nodes, searched.nodes + searched.depth + 1, followed.nodes));
        EXPECT_EQ(memcmp(followed.pieces, searched.pieces, 3 + searched.depth), 0);
        EXPECT_EQ(text, text_of(tn_path_prefix_text(node)));
        negate_leaf_counts(nodes);
    }
}

TEST(Locate, LeafUnderAWrongKeyDoesNotMislead) {
    hand_tree tree;
    tn *end = tree.end_at("10.1.0.0/16", 30, 3);
    end->in_lfarray = tree.make_leaf_array(1);
    end->in_lfarray->la_leaves[0] = tree.make_leaf("10.16.0.0/16", 3);
    EXPECT_STREQ(tn_path_prefix_text(end), "0x0A00/12");
}
