#include "tbm/locate.h"
#include "tbm/subtree_count.h"

#include <gtest/gtest.h>

#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/page_end.h"

TEST(Locate, GroupOfASlotFollowsTheStride) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 0, 8);    // 4 slots a group
    tree.add_intern(node);
    const tn *far = tree.add_end(node, 4 * 40 + 3);
    tree.add_end(node, 4 * 7 + 1);
    tn_path path;
    for (const uint32_t stride : {8U, 5U}) {    // slots beyond the bitmap keep its last group
        node->tn_flags =
            static_cast<uint16_t>((node->tn_flags & ~0xf0U) | stride << tn_stride_shift);
        tn_locate(far, path);
        EXPECT_EQ(path.pieces[3], 40);
    }
}

TEST(Locate, EmptySlotsAndCyclesAreNotFollowed) {
    hand_tree tree;
    tn *node = tree.search_at("10.0.0.0/8", 24);
    tn *child = tree.add_search(node, 1);
    tree.add_end(child, 1);
    const tn *behind = tree.add_end(node, 2);
    uint32_t count = 0;
    child->sn_charray->ta_nodes[0] = nullptr;
    tn_subtree_count(node, count);
    EXPECT_EQ(count, 4U);    // an empty slot counts, nothing below it
    tn_path path;
    tn_locate(behind, path);
    EXPECT_EQ(path.found, 1U);

    child->sn_charray->ta_nodes[0] = node;
    EXPECT_EQ(captured_pieces([&] { tn_locate(behind, path); }).size(), 1U);
    EXPECT_EQ(path.found, 0U);
    EXPECT_EQ(captured_pieces([&] { tn_subtree_count(node, count); }).size(), 1U);
}

TEST(Locate, LeafUnderAWrongKeyDoesNotMislead) {
    hand_tree tree;
    tn *end = tree.end_at("10.1.2.0/24", 42, 3);
    end->in_lfarray = tree.make_leaf_array(1);
    end->in_lfarray->la_leaves[0] = tree.make_leaf("10.16.2.0/24", 3);
    EXPECT_STREQ(tn_path_prefix_text(end), "0x0A0102/24");
    EXPECT_STREQ(tn_path_prefix_text(tree.search_at("10.1.2.0/24", 36, 3)), "0x0A0100/18");
}

TEST(ChildSlot, IsFollowedBehindTheCountButNotBehindTheMemory) {
    hand_tree tree;
    tn *node = tree.search_at("10.0.0.0/8", 24);
    tn *const child = tree.add_end(node, 0);
    tn **const slots = before_page_end<tn *>(3);
    node->sn_charray->ta_nodes = slots;
    node->sn_ebmap = 0xf;
    slots[1] = slots[2] = child;
    const struct {
        uint32_t chunk, stride;
        bool slot, counted;
        const tn *followed;
    } rows[] = {{0, 6, true, true, nullptr},   {1, 6, true, false, child},
                {2, 6, true, false, child},    {3, 6, false, false, nullptr},
                {1, 5, false, false, nullptr}, {1, 11, false, false, nullptr}};
    for (const auto &row : rows) {
        const tn_slot found = tn_child_slot(node, row.chunk, row.stride);
        EXPECT_EQ(found.at, row.slot ? slots + row.chunk : nullptr) << row.chunk;
        EXPECT_EQ(found.counted, row.counted) << row.chunk;
        EXPECT_EQ(tn_slot_node(found), row.followed) << row.chunk;
    }
    child->tn_flags = TN_END;    // no stride: what stands behind the count is no node
    EXPECT_EQ(tn_slot_node(tn_child_slot(node, 1, 6)), nullptr);
}
