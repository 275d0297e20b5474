#include "checks/lookup_check.h"

#include <gtest/gtest.h>

#include <string>

#include "checks/commands.h"
#include "checks/plu_phu_lookup.h"
#include "tbm/access.h"
#include "tests/checks/fake_lookup_library.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

struct counts {
    int total = 0, match = 0, longer = 0, none = 0, mismatch = 0;
};

std::string summary(const counts &c) {
    return format(
        "Results of lookup all existing prefixes:\n  total        prefix: %7d\n"
        "  prefix        match: %7d\n  prefix longer match: %7d\n  prefix     no match: %7d\n"
        "  lf lookup MISMATCH:  %7d\n",
        c.total, c.match, c.longer, c.none, c.mismatch);
}

std::string hw_summary(const counts &c) {
    return format(
        "total        prefix: %7d\nprefix        match: %7d\nprefix longer match: %7d\n"
        "prefix     no match: %7d\n",
        c.total, c.match, c.longer, c.none);
}

std::string run(uint64_t start = 0, uint64_t verbose = 0) {
    return captured([&] { cmd_cklkup(start, verbose, 0); });
}

std::string run_hw(uint64_t start = 0, uint64_t verbose = 0) {
    return captured([&] { cmd_cklkuphw(start, verbose, 0); });
}

/// A root, and below it an END node whose leaves the tests choose.
struct LookupCheck : testing::Test {
    hand_tree tree;
    fake_lookup_library &library = fresh_fake_library();
    tn *root = tree.root();
    tn *node = tree.add_end(root, 0);

    void SetUp() override {
        library.search_leaf = tree.make_leaf("10.0.0.0/8");
        mask_set_from_left(library.search_mask, 8);
        library.hardware_mask = {library.search_mask.high >> 32, 0};
        library.existing = {"10.0.0.0/8"};
    }
    void set_leaves(int count, leaf *value) {
        node->in_lfarray = tree.make_leaf_array(count);
        std::fill_n(node->in_lfarray->la_leaves, count, value);
    }
    std::string missed(const leaf *entry, int index, int count, const char *prefix) {
        return format("lookup missed: tn %p lf %p, lf %d/%d (%s)\n", static_cast<void *>(node),
                      static_cast<const void *>(entry), index, count, prefix);
    }
};

}    // namespace

TEST_F(LookupCheck, EveryLeafFallsIntoItsClass) {
    set_leaves(6, nullptr);
    leaf **leaves = node->in_lfarray->la_leaves;
    leaves[0] = tree.make_leaf("10.0.0.0/8");
    leaves[1] = tree.make_leaf("10.0.0.0/7");     // answered with the longer /8
    leaves[2] = tree.make_leaf("10.0.0.0/16");    // answered with a shorter one: total only
    leaves[3] = tree.make_leaf("11.2.3.4/32");    // /8 of that address does not exist
    leaves[4] = nullptr;                          // a slot without a leaf: total only
    leaves[5] = tree.make_leaf("10.0.0.0/0");
    leaves[5]->key_bits_used = 12;    // shorter than the header
    EXPECT_EQ(run(), missed(leaves[3], 3, 6, "0x0b020304/32") + summary({6, 1, 2, 1, 0}));
    leaves[5]->key_bits_used = 0;    // no prefix at all: nothing can be asked
    EXPECT_EQ(run(), missed(leaves[3], 3, 6, "0x0b020304/32") +
                         missed(leaves[5], 5, 6, "0x0a000000/-18") + summary({6, 1, 1, 2, 0}));
}

TEST_F(LookupCheck, OnlyLeavesBelowTheRootsAreVisited) {
    leaf *found = tree.make_leaf("10.0.0.0/8");
    set_leaves(1, found);
    tn *inode = tree.add_intern(root);
    inode->in_lfarray = tree.make_leaf_array(2);
    inode->in_lfarray->la_leaves[0] = inode->in_lfarray->la_leaves[1] = found;
    tn *end_root = tree.root(9, TN_END);
    end_root->in_lfarray = node->in_lfarray;
    EXPECT_EQ(run(), summary({3, 3, 0, 0, 0}));
    EXPECT_EQ(run_hw(), hw_summary({3, 3, 0, 0}));
    EXPECT_EQ(run(number(node)), format("walk tn tree start from %p\n", static_cast<void *>(node)) +
                                     summary({1, 1, 0, 0, 0}));
    EXPECT_EQ(run(0x7ffffffff000), "address 0x7ffffffff000 is not readable\n");
    EXPECT_EQ(run_hw(0x7ffffffff000), "address 0x7ffffffff000 is not readable\n");
    inode->in_lfarray = nullptr;
    node->in_lfarray->la_nnodes = -5;
    EXPECT_EQ(run(), summary({}));
    node->in_lfarray->la_nnodes = 5;
    node->in_lfarray->la_leaves = nullptr;
    EXPECT_EQ(run(), summary({}));
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(run(), "NULL tbm_handle\n" + summary({}));
    EXPECT_EQ(run_hw(), "NULL tbm_handle\n" + hw_summary({}));
}

TEST_F(LookupCheck, MissedLinesAreLimitedOnTheSearchPathOnly) {
    set_leaves(25, tree.make_leaf("11.0.0.0/8"));
    EXPECT_EQ(captured_pieces([] { cmd_cklkup(0, 0, 0); }).size(), 20U + 6);
    EXPECT_EQ(captured_pieces([] { cmd_cklkup(0, 0, 0); }).size(), 20U + 6);
    EXPECT_NE(run().find(summary({25, 0, 0, 25, 0})), std::string::npos);
    EXPECT_EQ(captured_pieces([] { cmd_cklkuphw(0, 0, 0); }).size(), 25U + 4);
}

TEST_F(LookupCheck, StrayAnswersAreCountedAndElevenShown) {
    leaf *original = tree.make_leaf("10.0.0.0/8");
    set_leaves(15, original);
    library.search_leaf = reinterpret_cast<leaf *>(root) - 1;
    const std::vector<std::string> pieces = captured_pieces([] { cmd_cklkup(0, 0, 0); });
    ASSERT_EQ(pieces.size(), 11U + 15 + 6);
    EXPECT_EQ(pieces[0],
              format("lf mismatch found in phu_plu_lookup, lf orig %p lf %p, tn %p prefix "
                     "10.0.0.0/8\n",
                     static_cast<void *>(original), static_cast<void *>(library.search_leaf),
                     static_cast<void *>(node)));
    EXPECT_EQ(pieces.back(), "  lf lookup MISMATCH:       15\n");
    EXPECT_EQ(phu_plu_lookup_lf_mismatch_disp, 15);
}

TEST_F(LookupCheck, ShrinkingLeafArrayEndsTheLoop) {
    static leaf_array *shrinking;
    set_leaves(10, tree.make_leaf("10.0.0.0/8"));
    shrinking = node->in_lfarray;
    library.on_lookup = [] { shrinking->la_nnodes -= 2; };
    EXPECT_EQ(run(), summary({4, 4, 0, 0, 0}));
}

TEST_F(LookupCheck, VerboseShowsEveryLeaf) {
    leaf *entry = tree.make_leaf("10.0.0.0/8");
    set_leaves(1, entry);
    EXPECT_EQ(run(0, uint64_t{1} << 40),
              format("phu_search() results: leaf %p mask len 26  prefix 10.0.0.0/8 (exp:8)\n"
                     "    hw index 0x01020000 hint mask 0x0100000000000000 0x0000000000000000\n"
                     "plu lookup start mask len: 32\n"
                     "plu lookup results: mask len 8, rc 0x0\n",
                     static_cast<void *>(library.search_leaf)) +
                  summary({1, 1, 0, 0, 0}));
    EXPECT_EQ(run_hw(0, 1), format("tn %p pfx 0x0a000000/8\n"
                                   "phu lkup: mask len 26 (exp:8) prefix 0x0a000000 hint mask "
                                   "0x0000000000000000 0x0000000001000000\n"
                                   "plu lookup v2: mask len 8, rc 0x0\n",
                                   static_cast<void *>(node)) +
                                hw_summary({1, 1, 0, 0}));
}

TEST_F(LookupCheck, HardwareWalkReportsProgress) {
    set_leaves(40001, tree.make_leaf("10.0.0.0/8"));
    EXPECT_EQ(run_hw(), "20000 prefixes checked\n40000 prefixes checked\n" +
                            hw_summary({40001, 40001, 0, 0}));
}

TEST_F(LookupCheck, CheckAllRunsFiveChecksFromTheRoots) {
    set_leaves(1, tree.make_leaf("10.0.0.0/8"));
    mask_set_from_left(node->hint_mask, 8);
    const std::string quiet = captured([] { cmd_ckall(0, 0, 0); });
    size_t at = 0;
    for (const char *part :
         {"\nResults of checking bmsf:\n", "  bmsf MISMATCH:              0\n\n",
          "Results of checking hint mask:\n", "\nResults of checking par bl:\n",
          "  la_high_water_mark:       0\n\nResults of lookup all existing prefixes:\n",
          "  prefix        match:       1\n"}) {
        at = quiet.find(part, at);
        ASSERT_NE(at, std::string::npos) << part << quiet;
    }
    EXPECT_EQ(quiet.find("walk tn tree"), std::string::npos);
    EXPECT_EQ(quiet.find("phu_search() results"), std::string::npos);
    EXPECT_NE(captured([] { cmd_ckall(0, 1, 0); }).find("phu_search() results"), std::string::npos);
    tree.phu()->tbm_handle = nullptr;
    const std::string no_tree = captured([] { cmd_ckall(0, 0, 0); });
    EXPECT_EQ(no_tree.substr(0, 17), "NULL tbm_handle\n\n");
    EXPECT_NE(no_tree.find(summary({})), std::string::npos);
}
