#include "checks/parent_leaf_check.h"

#include <gtest/gtest.h>

#include <string>

#include "checks/commands.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

std::string run() {
    return captured([] { cmd_ckparbl(0, 0, 0); });
}

struct counts {
    int nodes = 0, end = 0, search = 0, valid = 0, invalid = 0, invalid_end = 0;
    int invalid_offset = 0, unknown = 0, high_water = 0;
};

std::string summary(const counts &c) {
    return format(
        "\nResults of checking par bl:\n  tn nodes:           %7d\n  tn end nodes:       %7d\n"
        "  search nodes:       %7d\n  valid par bl:       %7d\n  INVALID par bl:     %7d\n"
        "  INVALID end par bl: %7d\n  INVALID offset:     %7d\n  unknown tn nodes:   %7d\n"
        "  la_high_water_mark: %7d\n",
        c.nodes, c.end, c.search, c.valid, c.invalid, c.invalid_end, c.invalid_offset, c.unknown,
        c.high_water);
}

/// root over upper (/0, /5) over middle (/8, no leaf covers further) over an END node.
struct ParentLeafCheck : testing::Test {
    hand_tree tree;
    tn *upper = tree.search_at("0.0.0.0/0", 18);
    tn *middle = tree.search_at("10.0.0.0/6", 24);
    tn *end = tree.end_at("10.0.0.0/12", 30);
    leaf_array *upper_leaves = nullptr;
    leaf_array *middle_leaves = nullptr;

    void SetUp() override {
        tree.add_leaf(upper, "0.0.0.0/0");
        tree.add_leaf(upper, "8.0.0.0/5");
        tree.add_leaf(middle, "10.0.0.0/8");
        upper_leaves = tn_inode(upper)->in_lfarray;
        middle_leaves = tn_inode(middle)->in_lfarray;
        refer(middle, upper_leaves, 1, 5);
        refer(end, middle_leaves, 0, 8);
    }
    static void refer(tn *node, leaf_array *array, int offset, int length) {
        node->par_bl_larray = array;
        node->par_bl_offset = static_cast<uint16_t>(offset);
        node->par_bl_len = static_cast<uint16_t>(length);
    }
};

}    // namespace

TEST_F(ParentLeafCheck, HealthyTreeIsSilent) {
    EXPECT_EQ(run(), summary({4, 1, 3, 2, 0, 0, 0, 0, 2}));
    refer(end, upper_leaves, 1, 5);        // an array further up will do
    refer(middle, upper_leaves, 1, 99);    // the length of a search node is not checked
    EXPECT_EQ(run(), summary({4, 1, 3, 2, 0, 0, 0, 0, 2}));
    end->par_bl_larray = nullptr;
    EXPECT_EQ(run(), summary({4, 1, 3, 1, 0, 0, 0, 0, 2}));
    EXPECT_EQ(parent_la[0], upper_leaves);
    EXPECT_EQ(parent_la[1], middle_leaves);
}

TEST_F(ParentLeafCheck, EndNodeFaults) {
    leaf_array *stranger = tree.make_leaf_array(1);
    stranger->la_leaves[0] = tree.make_leaf("10.0.0.0/8");
    leaf_array *gap = middle_leaves;
    struct {
        leaf_array *array;
        int offset, kept, nnodes, shown;
    } const cases[] = {
        {stranger, 0, 8, 1, 8},
        {middle_leaves, 1, 8, 1, 0},
        {middle_leaves, 0, 7, 1, 8},
        {upper_leaves, 0, 5, 2, 0},
    };
    for (const auto &c : cases) {
        refer(end, c.array, c.offset, c.kept);
        EXPECT_EQ(run(),
                  format("par bl invalid tn %p, parent_la_index 2 par bl la %p offset %d len "
                         "%d, nnodes %d leaf pfx len %d\n  parent la (1) %p\n"
                         "  parent la (0) %p\n",
                         static_cast<void *>(end), static_cast<void *>(c.array), c.offset, c.kept,
                         c.nnodes, c.shown, static_cast<void *>(middle_leaves),
                         static_cast<void *>(upper_leaves)) +
                      summary({4, 1, 3, 1, 1, 1, 0, 0, 2}));
    }
    refer(end, gap, 0, 0);
    gap->la_leaves[0] = nullptr;
    EXPECT_NE(run().find(summary({4, 1, 3, 1, 1, 1, 0, 0, 2})), std::string::npos);
    gap->la_leaves = nullptr;
    EXPECT_NE(run().find(summary({4, 1, 3, 1, 1, 1, 0, 0, 2})), std::string::npos);
    gap->la_nnodes = -1;
    EXPECT_NE(run().find("nnodes -1 leaf pfx len 0\n"), std::string::npos);
}

TEST_F(ParentLeafCheck, SearchNodeFaults) {
    middle->par_bl_offset = 2;
    EXPECT_EQ(run(), format("par bl invalid for tn %p, parent_la_index 1 par bl la %p nnodes 2, "
                            "offset 2\n",
                            static_cast<void *>(middle), static_cast<void *>(upper_leaves)) +
                         summary({4, 1, 3, 1, 1, 0, 1, 0, 2}));
    refer(middle, middle_leaves, 0, 8);    // its own array is not an ancestor's
    EXPECT_NE(run().find(summary({4, 1, 3, 1, 1, 0, 0, 0, 2})), std::string::npos);
    middle->par_bl_larray = nullptr;
    refer(tree.root(), upper_leaves, 0, 0);    // nothing stands above a root
    EXPECT_EQ(run(), format("par bl invalid for tn %p, parent_la_index 0 par bl la %p nnodes 2, "
                            "offset 0\n",
                            static_cast<void *>(tree.root()), static_cast<void *>(upper_leaves)) +
                         summary({4, 1, 3, 1, 1, 0, 0, 0, 2}));
}

TEST_F(ParentLeafCheck, NodeWithoutInternalNodePassesTheStackOn) {
    tn *plain = tree.search_at("64.0.0.0/6", 24);
    tn *below = tree.search_at("64.0.0.0/12", 30);
    refer(plain, upper_leaves, 0, 0);
    refer(below, upper_leaves, 0, 0);
    EXPECT_EQ(run(), summary({6, 1, 5, 4, 0, 0, 0, 0, 2}));
    below->tn_flags = TN_INTERN;
    EXPECT_EQ(run(), summary({6, 1, 4, 3, 0, 0, 0, 1, 2}));
    // A flag without an internal node still takes its place on the stack.
    plain->tn_flags |= tn_inode_flag;
    plain->sn_charray = nullptr;
    EXPECT_EQ(run(), summary({5, 1, 4, 3, 0, 0, 0, 0, 2}));
    EXPECT_EQ(parent_la[1], nullptr);
}

TEST(ParentLeafLimits, TenLinesEachCountersGoOn) {
    hand_tree tree;
    leaf_array *stranger = tree.make_leaf_array(1);
    for (uint32_t chunk = 0; chunk < 12; ++chunk) {
        tree.add_end(tree.root(), chunk)->par_bl_larray = stranger;
        tree.add_search(tree.root(), 32 + chunk)->par_bl_larray = stranger;
    }
    for (int repeat = 0; repeat < 2; ++repeat) {
        const std::vector<std::string> pieces = captured_pieces([] { cmd_ckparbl(0, 0, 0); });
        EXPECT_EQ(pieces.size(), 10U + 10 + 10);
        EXPECT_EQ(captured([] { cmd_ckparbl(0, 0, 0); }).find(summary({25, 12, 13, 0, 24, 12, 0})),
                  captured([] { cmd_ckparbl(0, 0, 0); }).find("\nResults"));
    }
}

TEST(ParentLeafLimits, StackIsFullAtThe32ndInternalNode) {
    hand_tree tree;
    tn *node = tree.root();
    for (int depth = 1; depth < 31; ++depth) {
        tree.add_intern(node);
        node = tree.add_search(node, 1);
    }
    tn *on_top = node;
    tree.add_intern(on_top);
    tn *last = tree.add_search(on_top, 1);
    EXPECT_EQ(run(), summary({32, 0, 32, 0, 0, 0, 0, 0, 31}));
    ParentLeafCheck::refer(last, tn_inode(tree.root())->in_lfarray, 0, 0);
    tn_inode(tree.root())->in_lfarray->la_nnodes = 1;
    tree.add_end(last, 1);
    EXPECT_EQ(run(), summary({33, 1, 32, 1, 0, 0, 0, 0, 31}));
    tree.add_intern(last);
    EXPECT_EQ(run(), format("parent_la_index reached max at tn %p, stop searching tn child\n",
                            static_cast<void *>(last)) +
                         summary({32, 0, 32, 1, 0, 0, 0, 0, 31}));
}

TEST(ParentLeafLimits, MissingTreeAndCycle) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 1);
    tree.add_search(node, 1);
    node->sn_charray->ta_nodes[0] = node;
    EXPECT_EQ(run(), format("tree deeper than 64 levels at tn %p, walk stopped\n",
                            static_cast<void *>(node)) +
                         summary({64, 0, 64}));
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(run(), "NULL tbm_handle\n");
}
