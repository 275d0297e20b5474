// ckbmsf, ckhmask and ckparbl on hand-made trees.
#include <array>

#include "checks/commands.h"
#include "checks/parent_leaf_check.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/page_end.h"
#include "tests/support/text.h"

namespace {

std::string bmsf_summary(int total, int non_zero, int zero, int mismatch) {
    return format(
        "\nResults of checking bmsf:\n  total tn nodes:       %7d\n  bmsf match non zero:  %7d\n"
        "  bmsf match  zero:     %7d\n  bmsf MISMATCH:        %7d\n",
        total, non_zero, zero, mismatch);
}

TEST(BmsfCheck, EveryCounterHasItsNode) {
    hand_tree tree;
    tree.root()->bmsf = 9;    // a root is not checked
    tn *vrf_node = tree.search_at("0.0.0.0/0", 18);
    tree.add_leaf(vrf_node, "0.0.0.0/0");
    tree.add_leaf(vrf_node, "8.0.0.0/5");
    tn *covered = tree.search_at("10.0.0.0/6", 24);
    covered->bmsf = 5;
    tn *by_default = tree.end_at("64.0.0.0/6", 24);    // expects the default prefix: 0 agrees
    tn *inherits = tree.search_at("10.1.0.0/16", 30);
    inherits->bmsf = 5;
    EXPECT_EQ(reply_of(cmd_ckbmsf), bmsf_summary(4, 3, 1, 0));
    inherits->bmsf = 0;    // no hint node yet
    EXPECT_EQ(reply_of(cmd_ckbmsf), bmsf_summary(4, 2, 2, 0));
    inherits->hint_state = HINT_SEARCH;
    by_default->bmsf = 6;
    by_default->hint_state = HINT_END;
    EXPECT_EQ(reply_of(cmd_ckbmsf),
              format("bmsf mismatch tn %p bmsf 5 hint bmsf 0 parent_tn %p child 0 of 1, pos 32\n"
                     "bmsf mismatch tn %p bmsf 0 hint bmsf 6 parent_tn %p child 2 of 3, pos 16\n",
                     static_cast<void *>(inherits), static_cast<void *>(covered),
                     static_cast<void *>(by_default), static_cast<void *>(vrf_node)) +
                  bmsf_summary(4, 1, 1, 2));
    tree.add_intern(covered);    // an internal node without an answer hands nothing down
    EXPECT_NE(reply_of(cmd_ckbmsf).find(bmsf_summary(4, 1, 2, 1)), std::string::npos);
    covered->sn_charray->ta_nodes[0] = nullptr;    // a flag without node: as if there were none
    EXPECT_NE(reply_of(cmd_ckbmsf).find(bmsf_summary(4, 1, 1, 2)), std::string::npos);
}

TEST(BmsfCheck, ReadsNoSlotBehindTheLast) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 1);
    tn **const slot = before_page_end<tn *>(1);
    *slot = tree.add_end(node, 2);
    node->sn_charray->ta_nodes = slot;
    EXPECT_EQ(reply_of(cmd_ckbmsf), bmsf_summary(2, 0, 2, 0));
}

/// child match, mismatch; ebmap match, mismatch; parent match, mismatch; not in hint mask
using mask_counts = std::array<int, 7>;

std::string mask_summary(const mask_counts &c) {
    return format(
        "Results of checking hint mask:\n  inode+child match: %d\n  inode+child MISMATCH: %d\n"
        "  int+ext+ebmap match: %d \n  int+ext+ebmap MISMATCH: %d\n"
        "  inode & parent int mask match: %d \n  inode & parent int mask MISMATCH: %d\n"
        "  inode pfx not in hint_mask: %d\n",
        c[0], c[1], c[2], c[3], c[4], c[5], c[6]);
}

/// top (SEARCH, /0 and /5 leaves) over hinted middle (SEARCH) over hinted low (END, /14) and plain
/// side (END, /16); every mask is right.
struct HintMaskCheck : testing::Test {
    hand_tree tree;
    tn *top = tree.search_at("0.0.0.0/0", 18);
    tn *middle = tree.search_at("8.0.0.0/6", 24);
    tn *low = tree.end_at("8.0.0.0/12", 30);
    tn *side = tree.end_at("8.64.0.0/12", 30);

    void SetUp() override {
        tree.add_leaf(top, "0.0.0.0/0");
        tree.add_leaf(top, "8.0.0.0/5");
        tree.add_leaf(low, "8.8.0.0/14");
        tree.add_leaf(side, "8.64.0.0/16");
        top->hint_state = HINT_SEARCH_END;
        top->int_mask = lengths({5});
        top->hint_mask = lengths({5, 14, 16});
        top->hint_ebmap = uint64_t{1} << 2;
        middle->hint_state = HINT_SEARCH_END;
        middle->ext_mask = lengths({16});
        middle->hint_mask = lengths({14, 16});
        middle->hint_ebmap = uint64_t{1} << 0;
        low->hint_state = HINT_END;
        low->int_mask = low->hint_mask = lengths({14});
        side->hint_mask = lengths({16});
    }
};

TEST_F(HintMaskCheck, PlantedFaultsMoveTheirCounters) {
    const mask128 wrong = lengths({7});
    const struct {
        mask128 *field;
        mask128 value;
        mask_counts expected;
    } cases[] = {
        {&low->hint_mask, lengths({14}), {4, 0, 3, 0, 1, 0, 0}},    // no fault
        {&low->hint_mask, wrong, {2, 2, 3, 0, 1, 0, 0}},
        {&side->hint_mask, wrong, {2, 2, 2, 1, 1, 0, 0}},
        {&top->hint_mask, lengths({5, 14}), {3, 1, 3, 0, 1, 0, 0}},
        {&top->hint_mask, lengths({14, 16}), {3, 1, 3, 0, 1, 0, 1}},
        {&low->int_mask, wrong, {4, 0, 2, 1, 1, 0, 0}},
        {&top->int_mask, lengths({5, 7}), {4, 0, 2, 1, 0, 1, 0}},
        {&top->ext_mask, wrong, {4, 0, 2, 1, 1, 0, 0}},
        {&middle->ext_mask, lengths({16, 7}), {4, 0, 1, 2, 1, 0, 0}},
        {&low->ext_mask, wrong, {4, 0, 3, 0, 1, 0, 0}},     // an end node has none
        {&side->int_mask, wrong, {4, 0, 3, 0, 1, 0, 0}},    // no hint node
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const mask128 before = *cases[i].field;
        *cases[i].field = cases[i].value;
        const std::string reply = reply_of(cmd_ckhmask);
        const std::string expected = mask_summary(cases[i].expected);
        EXPECT_EQ(reply.substr(reply.find("Results")), expected) << i;
        EXPECT_EQ(reply == expected, cases[i].expected[1] + cases[i].expected[3] == 0) << i;
        *cases[i].field = before;
    }
    middle->hint_ebmap = 0;
    EXPECT_NE(reply_of(cmd_ckhmask).find(mask_summary({4, 0, 2, 1, 1, 0, 0})), std::string::npos);
}

TEST_F(HintMaskCheck, HintStateDecidesWhatIsChecked) {
    top->hint_state = HINT_INIT;
    top->int_mask = lengths({7});
    EXPECT_EQ(reply_of(cmd_ckhmask), mask_summary({4, 0, 2, 0, 0, 0, 0}));
    middle->hint_state = HINT_INIT;
    low->hint_state = HINT_INIT;
    EXPECT_EQ(reply_of(cmd_ckhmask), mask_summary({4, 0, 0, 0, 0, 0, 0}));
    top->hint_state = HINT_SEARCH;    // its hinted child has no hint node and gives no mask away
    top->int_mask = lengths({5});
    EXPECT_EQ(reply_of(cmd_ckhmask), mask_summary({4, 0, 1, 0, 1, 0, 0}));
}

TEST_F(HintMaskCheck, DetailLinesShowLowWordFirst) {
    low->int_mask = lengths({32, 128});
    EXPECT_EQ(reply_of(cmd_ckhmask), format("mismatch: bmsf 0 tn %p child:1\n"
                                            "  hint_mask 0x0000000000000000 0004000000000000 \n"
                                            "tn int mask 0x0000000000000001 0000000100000000\n"
                                            "tn ext mask 0x0000000000000000 0000000000000000\n\n",
                                            static_cast<void *>(low)) +
                                         mask_summary({4, 0, 2, 1, 1, 0, 0}));
    low->int_mask = low->hint_mask;
    top->hint_mask = lengths({128});
    EXPECT_EQ(reply_of(cmd_ckhmask),
              format("mismatch: hint_mask 0x0000000000000000 0805000000000000"
                     " tn hmask 0x0000000000000001 0000000000000000, tn %p\n",
                     static_cast<void *>(top)) +
                  mask_summary({3, 1, 3, 0, 1, 0, 1}));
}

TEST_F(HintMaskCheck, StartNodeIsCheckedWithoutParent) {
    EXPECT_EQ(reply_of(cmd_ckhmask, number(middle)),
              format("walk tn tree start from %p\n", static_cast<void *>(middle)) +
                  mask_summary({3, 0, 2, 0, 0, 0, 0}));
    // An internal node as start has no parent, its leaves count for nothing.
    const tn *inode = tn_inode(top);
    EXPECT_EQ(reply_of(cmd_ckhmask, number(inode)),
              format("walk tn tree start from %p\n", static_cast<const void *>(inode)) +
                  mask_summary({1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(reply_of(cmd_ckhmask, 0x10), "invalid tn addr: 0x10\n");
    EXPECT_EQ(reply_of(cmd_ckhmask, 0x7ffffffff000), "address 0x7ffffffff000 is not readable\n");
}

/// nodes, end, search, valid, invalid, invalid end, invalid offset, unknown, high water mark
using parent_counts = std::array<int, 9>;

std::string parent_summary(const parent_counts &c) {
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

TEST_F(ParentLeafCheck, HealthyTreeIsSilent) {
    EXPECT_EQ(reply_of(cmd_ckparbl), parent_summary({4, 1, 3, 2, 0, 0, 0, 0, 2}));
    refer(end, upper_leaves, 1, 5);        // an array further up will do
    refer(middle, upper_leaves, 1, 99);    // the length of a search node is not checked
    EXPECT_EQ(reply_of(cmd_ckparbl), parent_summary({4, 1, 3, 2, 0, 0, 0, 0, 2}));
    end->par_bl_larray = nullptr;
    EXPECT_EQ(reply_of(cmd_ckparbl), parent_summary({4, 1, 3, 1, 0, 0, 0, 0, 2}));
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
                      parent_summary({4, 1, 3, 1, 1, 1, 0, 0, 2}));
    }
}

TEST_F(ParentLeafCheck, SearchNodeFaults) {
    middle->par_bl_offset = 2;
    EXPECT_EQ(reply_of(cmd_ckparbl),
              format("par bl invalid for tn %p, parent_la_index 1 par bl la %p nnodes 2, "
                     "offset 2\n",
                     static_cast<void *>(middle), static_cast<void *>(upper_leaves)) +
                  parent_summary({4, 1, 3, 1, 1, 0, 1, 0, 2}));
    refer(middle, middle_leaves, 0, 8);        // its own array is not an ancestor's
    refer(tree.root(), upper_leaves, 0, 0);    // nothing stands above a root
    EXPECT_NE(reply_of(cmd_ckparbl).find(parent_summary({4, 1, 3, 1, 2, 0, 0, 0, 2})),
              std::string::npos);
}

TEST_F(ParentLeafCheck, NodeWithoutInternalNodePassesTheStackOn) {
    tn *plain = tree.search_at("64.0.0.0/6", 24);
    tn *below = tree.search_at("64.0.0.0/12", 30);
    refer(plain, upper_leaves, 0, 0);
    refer(below, upper_leaves, 0, 0);
    EXPECT_EQ(reply_of(cmd_ckparbl), parent_summary({6, 1, 5, 4, 0, 0, 0, 0, 2}));
    below->tn_flags = TN_INTERN;
    EXPECT_EQ(reply_of(cmd_ckparbl), parent_summary({6, 1, 4, 3, 0, 0, 0, 1, 2}));
    // A flag without an internal node still takes its place on the stack.
    plain->tn_flags |= tn_inode_flag;
    plain->sn_charray = nullptr;
    EXPECT_EQ(reply_of(cmd_ckparbl), parent_summary({5, 1, 4, 3, 0, 0, 0, 0, 2}));
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
    EXPECT_EQ(reply_of(cmd_ckparbl), parent_summary({33, 1, 32, 1, 0, 0, 0, 0, 31}));
    tree.add_intern(node);
    EXPECT_EQ(reply_of(cmd_ckparbl),
              format("parent_la_index reached max at tn %p, stop searching tn child\n",
                     static_cast<void *>(node)) +
                  parent_summary({32, 0, 32, 1, 0, 0, 0, 0, 31}));
}

}    // namespace
