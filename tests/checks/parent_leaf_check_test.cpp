#include "checks/parent_leaf_check.h"

#include <array>

#include "checks/commands.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

/// nodes, end, search, valid, invalid, invalid end, invalid offset, unknown, high water mark
using counts = std::array<int, 9>;

std::string summary(const counts &c) {
    return format(
        "\nResults of checking par bl:\n  tn nodes:           %7d\n  tn end nodes:       %7d\n"
        "  search nodes:       %7d\n  valid par bl:       %7d\n  INVALID par bl:     %7d\n"
        "  INVALID end par bl: %7d\n  INVALID offset:     %7d\n  unknown tn nodes:   %7d\n"
        "  la_high_water_mark: %7d\n",
        c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8]);
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
    EXPECT_EQ(reply_of(cmd_ckparbl), summary({4, 1, 3, 2, 0, 0, 0, 0, 2}));
    refer(end, upper_leaves, 1, 5);        // an array further up will do
    refer(middle, upper_leaves, 1, 99);    // the length of a search node is not checked
    EXPECT_EQ(reply_of(cmd_ckparbl), summary({4, 1, 3, 2, 0, 0, 0, 0, 2}));
    end->par_bl_larray = nullptr;
    EXPECT_EQ(reply_of(cmd_ckparbl), summary({4, 1, 3, 1, 0, 0, 0, 0, 2}));
    EXPECT_EQ(parent_la[0], upper_leaves);
    EXPECT_EQ(parent_la[1], middle_leaves);
}

TEST_F(ParentLeafCheck, EndNodeFaults) {
    leaf_array *stranger = tree.make_leaf_array(1);
    stranger->la_leaves[0] = tree.make_leaf("10.0.0.0/8");
    const struct {
        leaf_array *array;
        int offset, kept, nnodes, shown;
    } cases[] = {
        {stranger, 0, 8, 1, 8},
        {middle_leaves, 1, 8, 1, 0},
        {middle_leaves, 0, 7, 1, 8},
        {upper_leaves, 0, 5, 2, 0},
    };
    for (const auto &c : cases) {
        refer(end, c.array, c.offset, c.kept);
        EXPECT_EQ(reply_of(cmd_ckparbl),
                  format("par bl invalid tn %p, parent_la_index 2 par bl la %p offset %d len "
                         "%d, nnodes %d leaf pfx len %d\n  parent la (1) %p\n"
                         "  parent la (0) %p\n",
                         static_cast<void *>(end), static_cast<void *>(c.array), c.offset, c.kept,
                         c.nnodes, c.shown, static_cast<void *>(middle_leaves),
                         static_cast<void *>(upper_leaves)) +
                      summary({4, 1, 3, 1, 1, 1, 0, 0, 2}));
    }
}

TEST_F(ParentLeafCheck, SearchNodeFaults) {
    middle->par_bl_offset = 2;
    EXPECT_EQ(reply_of(cmd_ckparbl),
              format("par bl invalid for tn %p, parent_la_index 1 par bl la %p nnodes 2, "
                     "offset 2\n",
                     static_cast<void *>(middle), static_cast<void *>(upper_leaves)) +
                  summary({4, 1, 3, 1, 1, 0, 1, 0, 2}));
    refer(middle, middle_leaves, 0, 8);        // its own array is not an ancestor's
    refer(tree.root(), upper_leaves, 0, 0);    // nothing stands above a root
    EXPECT_NE(reply_of(cmd_ckparbl).find(summary({4, 1, 3, 1, 2, 0, 0, 0, 2})), std::string::npos);
}

TEST_F(ParentLeafCheck, NodeWithoutInternalNodePassesTheStackOn) {
    tn *plain = tree.search_at("64.0.0.0/6", 24);
    tn *below = tree.search_at("64.0.0.0/12", 30);
    refer(plain, upper_leaves, 0, 0);
    refer(below, upper_leaves, 0, 0);
    EXPECT_EQ(reply_of(cmd_ckparbl), summary({6, 1, 5, 4, 0, 0, 0, 0, 2}));
    below->tn_flags = TN_INTERN;
    EXPECT_EQ(reply_of(cmd_ckparbl), summary({6, 1, 4, 3, 0, 0, 0, 1, 2}));
    // A flag without an internal node still takes its place on the stack.
    plain->tn_flags |= tn_inode_flag;
    plain->sn_charray = nullptr;
    EXPECT_EQ(reply_of(cmd_ckparbl), summary({5, 1, 4, 3, 0, 0, 0, 0, 2}));
    EXPECT_EQ(parent_la[1], nullptr);
}

TEST(ParentLeafStack, IsFullAtThe32ndInternalNode) {
    hand_tree tree;
    tn *node = tree.root();
    for (int depth = 1; depth <= 31; ++depth) {
        tree.add_intern(node);
        node = tree.add_search(node, 1);
    }
    ParentLeafCheck::refer(node, tn_inode(tree.root())->in_lfarray, 0, 0);
    tn_inode(tree.root())->in_lfarray->la_nnodes = 1;
    tree.add_end(node, 1);
    EXPECT_EQ(reply_of(cmd_ckparbl), summary({33, 1, 32, 1, 0, 0, 0, 0, 31}));
    tree.add_intern(node);
    EXPECT_EQ(reply_of(cmd_ckparbl),
              format("parent_la_index reached max at tn %p, stop searching tn child\n",
                     static_cast<void *>(node)) +
                  summary({32, 0, 32, 1, 0, 0, 0, 0, 31}));
}
