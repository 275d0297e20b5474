#include "checks/lookup_check.h"

#include <array>

#include "checks/commands.h"
#include "checks/plu_phu_lookup.h"
#include "tbm/access.h"
#include "tests/checks/fake_lookup_library.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

/// total, match, longer, none, leaf mismatch
std::string summary(const std::array<int, 5> &c) {
    return format(
        "Results of lookup all existing prefixes:\n  total        prefix: %7d\n"
        "  prefix        match: %7d\n  prefix longer match: %7d\n  prefix     no match: %7d\n"
        "  lf lookup MISMATCH:  %7d\n",
        c[0], c[1], c[2], c[3], c[4]);
}

std::string hw_summary(int total, int match) {
    return format(
        "total        prefix: %7d\nprefix        match: %7d\nprefix longer match:       0\n"
        "prefix     no match:       0\n",
        total, match);
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
    leaf **set_leaves(int count) {
        node->in_lfarray = tree.make_leaf_array(count);
        std::fill_n(node->in_lfarray->la_leaves, count, tree.make_leaf("10.0.0.0/8"));
        return node->in_lfarray->la_leaves;
    }
    std::string missed(const leaf *entry, int index, const char *prefix) {
        return format("lookup missed: tn %p lf %p, lf %d/6 (%s)\n", static_cast<void *>(node),
                      static_cast<const void *>(entry), index, prefix);
    }
};

}    // namespace

TEST_F(LookupCheck, EveryLeafFallsIntoItsClass) {
    leaf **leaves = set_leaves(6);
    leaves[1] = tree.make_leaf("10.0.0.0/7");     // answered with the longer /8
    leaves[2] = tree.make_leaf("10.0.0.0/16");    // answered with a shorter one: total only
    leaves[3] = tree.make_leaf("11.2.3.4/32");    // /8 of that address does not exist
    leaves[4] = nullptr;                          // a slot without a leaf: total only
    leaves[5] = tree.make_leaf("10.0.0.0/0");
    leaves[5]->key_bits_used = 12;    // shorter than the header
    EXPECT_EQ(reply_of(cmd_cklkup),
              missed(leaves[3], 3, "0x0b020304/32") + summary({6, 1, 2, 1, 0}));
    leaves[5]->key_bits_used = 0;    // no prefix at all: nothing can be asked
    EXPECT_EQ(reply_of(cmd_cklkup), missed(leaves[3], 3, "0x0b020304/32") +
                                        missed(leaves[5], 5, "0x0a000000/-18") +
                                        summary({6, 1, 1, 2, 0}));
}

TEST_F(LookupCheck, OnlyLeavesBelowTheRootsAreVisited) {
    set_leaves(1);
    tn *inode = tree.add_intern(root);
    inode->in_lfarray = node->in_lfarray;
    tree.root(9, TN_END)->in_lfarray = node->in_lfarray;
    EXPECT_EQ(reply_of(cmd_cklkup), summary({2, 2, 0, 0, 0}));
    EXPECT_EQ(reply_of(cmd_cklkuphw), hw_summary(2, 2));
    EXPECT_EQ(reply_of(cmd_cklkup, number(node)),
              format("walk tn tree start from %p\n", static_cast<void *>(node)) +
                  summary({1, 1, 0, 0, 0}));
    EXPECT_EQ(reply_of(cmd_cklkup, 0x7ffffffff000), "address 0x7ffffffff000 is not readable\n");
    EXPECT_EQ(reply_of(cmd_cklkuphw, 0x7ffffffff000), "address 0x7ffffffff000 is not readable\n");
}

TEST_F(LookupCheck, StrayAnswersAreCountedAcrossCommandsAndElevenShown) {
    leaf **leaves = set_leaves(9);
    library.search_leaf = reinterpret_cast<leaf *>(root) - 1;    // in front of the shared tree
    const auto line = [&](const leaf *original, const tn *at, const char *prefix) {
        return format("lf mismatch found in phu_plu_lookup, lf orig %p lf %p, tn %p prefix %s\n",
                      static_cast<const void *>(original), static_cast<void *>(library.search_leaf),
                      static_cast<const void *>(at), prefix);
    };
    const std::string reply = reply_of(cmd_cklkup);
    EXPECT_EQ(reply.substr(0, reply.find('\n') + 1), line(leaves[0], node, "10.0.0.0/8"));
    EXPECT_NE(reply.find(summary({9, 0, 0, 9, 9})), std::string::npos);
    for (int event = 10; event <= 13; ++event) {
        const bool shown = event <= 11;
        EXPECT_EQ(
            reply_of(cmd_cklkupv4, 1, 32, 0),
            "prefix 0x1, mask len: 32, vrf: 0\n" + (shown ? line(nullptr, nullptr, "NULL") : "") +
                "best match: mask len 0, (null)\nphu_plu_lookup() lookup failed, mask len 0 "
                "lf " +
                (shown ? "(nil)\n" : format("%p\n", static_cast<void *>(library.search_leaf))));
        EXPECT_EQ(phu_plu_lookup_lf_mismatch_count, event);
    }
    EXPECT_TRUE(library.looked_up.empty());
    reply_of(cmd_cklkuphw);
    EXPECT_EQ(phu_plu_lookup_lf_mismatch_disp, 13);
    reply_of(cmd_cklkup);    // starts counting anew
    EXPECT_EQ(phu_plu_lookup_lf_mismatch_disp, 9);
    EXPECT_EQ(phu_plu_lookup_lf_mismatch_count, 9);
}

TEST_F(LookupCheck, ShrinkingLeafArrayEndsTheLoop) {
    static leaf_array *shrinking;
    set_leaves(10);
    shrinking = node->in_lfarray;
    library.on_lookup = [] { shrinking->la_nnodes -= 2; };
    EXPECT_EQ(reply_of(cmd_cklkup), summary({4, 4, 0, 0, 0}));
}

TEST_F(LookupCheck, VerboseShowsEveryLeaf) {
    set_leaves(1);
    EXPECT_EQ(reply_of(cmd_cklkup, 0, uint64_t{1} << 40),
              format("phu_search() results: leaf %p mask len 26  prefix 10.0.0.0/8 (exp:8)\n"
                     "    hw index 0x01020000 hint mask 0x0100000000000000 0x0000000000000000\n"
                     "plu lookup start mask len: 32\n"
                     "plu lookup results: mask len 8, rc 0x0\n",
                     static_cast<void *>(library.search_leaf)) +
                  summary({1, 1, 0, 0, 0}));
    EXPECT_EQ(reply_of(cmd_cklkuphw, 0, 1),
              format("tn %p pfx 0x0a000000/8\n"
                     "phu lkup: mask len 26 (exp:8) prefix 0x0a000000 hint mask "
                     "0x0000000000000000 0x0000000001000000\n"
                     "plu lookup v2: mask len 8, rc 0x0\n",
                     static_cast<void *>(node)) +
                  hw_summary(1, 1));
}

TEST_F(LookupCheck, HardwareWalkReportsProgress) {
    set_leaves(2000);
    for (uint32_t chunk = 1; chunk <= 20; ++chunk) {
        tree.add_end(root, chunk)->in_lfarray = node->in_lfarray;
    }
    EXPECT_EQ(reply_of(cmd_cklkuphw),
              "20000 prefixes checked\n40000 prefixes checked\n" + hw_summary(42000, 42000));
}
