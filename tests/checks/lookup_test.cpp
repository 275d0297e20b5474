// cklkupv4, cklkupv6, cklkup and cklkuphw over a library that answers as a test says.
#include <array>
#include <string>
#include <vector>

#include "checks/commands.h"
#include "checks/lookup_check.h"
#include "checks/plu_phu_lookup.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/key.h"
#include "tests/checks/fake_lookup_library.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

using strings = std::vector<std::string>;

struct Lookup : testing::Test {
    hand_tree tree;
    fake_lookup_library &library = fresh_fake_library();
    tn *root = tree.root();
};

TEST_F(Lookup, Ipv4CrossCheckTellsEveryStep) {
    library.search_leaf = tree.make_leaf("10.1.2.0/24", 5);
    library.search_mask = lengths({8, 16, 24, 40});    // 40 is no length of IPv4
    library.search_hint_level = 2;
    library.existing = {"10.1.0.0/16", "10.0.0.0/8"};
    EXPECT_EQ(reply_of(cmd_cklkupv4, 0xf0a010203, 0x108, 0x100000005),
              format("prefix 0xf0a010203, mask len: 8, vrf: 5\n"
                     "phu_search() results: leaf %p mask len 42  prefix 10.1.2.0/24 (exp:8)\n"
                     "    hw index 0x01020002 hint mask 0x0101010001000000 0x0000000000000000\n"
                     "plu lookup start mask len: 32\n"
                     "plu lookup results: mask len 24, rc 0x4d7e0001\n"
                     "plu lookup results: mask len 16, rc 0x0\n"
                     "best match: mask len 16, 10.1.2.0/24\n",
                     static_cast<void *>(library.search_leaf)));
    EXPECT_EQ(library.searched, strings{"10.1.2.3/32"});
    EXPECT_EQ(library.looked_up, (strings{"10.1.2.0/24", "10.1.0.0/16"}));
    EXPECT_EQ(library.last_entry_ctx.bucket[0], reinterpret_cast<void *>(100 * 0x100));
    EXPECT_EQ(library.last_entry_ctx.bucket[1], nullptr);
    EXPECT_EQ(library.last_entry_ctx.bucket[2], reinterpret_cast<void *>(70 * 0x100 + 2));
    // Without an address an example is shown.
    library.existing = {"64.31.0.0/16"};
    const std::string example = reply_of(cmd_cklkupv4, 0, 8, ~uint64_t{0});
    EXPECT_EQ(example.find("prefix 0x0, mask len: 19, vrf: -1\n"), 0U);
    EXPECT_EQ(library.searched.back(), "64.31.0.0/32");
}

TEST_F(Lookup, Ipv6CrossCheckTellsEveryStep) {
    const std::string usage = "valid input: a1 pfx high, a2 pfx low, a3 1000 x vrf + mask len\n";
    EXPECT_EQ(reply_of(cmd_cklkupv6, 0, 0, 5064), usage);
    EXPECT_EQ(reply_of(cmd_cklkupv6, 1, 2, 0), usage);
    library.search_leaf = tree.make_leaf("2001:db8::/32", 5);
    library.search_mask = lengths({1, 32, 64, 65, 128});
    library.search_hint_level = 24;    // behind the trail
    library.existing = {"2001:db8::/32"};
    EXPECT_EQ(reply_of(cmd_cklkupv6, 0x20010db800010000, 1, 5064),
              format("prefix 0x20010db8000100000000000000000000, mask len: 64, vrf: 5\n"
                     "phu_search() results: leaf %p mask len 50  prefix 2001:db8::/32 (exp:64)\n"
                     "    hw index 0x00000000 hint mask 0x8000000100000001 0x8000000000000001\n"
                     "plu lookup start mask len: 128\n"
                     "plu lookup results: mask len 128, rc 0x4d7e0001\n"
                     "plu lookup results: mask len 65, rc 0x4d7e0001\n"
                     "plu lookup results: mask len 64, rc 0x4d7e0001\n"
                     "plu lookup results: mask len 32, rc 0x0\n"
                     "best match: mask len 32, 2001:db8::/32\n",
                     static_cast<void *>(library.search_leaf)));
    EXPECT_EQ(captured_pieces([] { cmd_cklkupv6(1, 2, 1); }).size(), 1U + 16 + 1 + 3 + 5 + 2);
}

TEST_F(Lookup, FailuresEndWithTheFailureLine) {
    const std::string failed =
        "best match: mask len 0, (null)\nphu_plu_lookup() lookup failed, mask len 0 lf ";
    const std::string head = "prefix 0x1, mask len: 32, vrf: 0\n";
    const auto reply = [] { return reply_of(cmd_cklkupv4, 1, 32, 0); };
    EXPECT_EQ(reply(), head + failed + "(nil)\n");
    library.search_rc = 0x4d000003;
    EXPECT_EQ(reply(), head + "phu lookup failed rc 0x4d000003 \n" + failed + "(nil)\n");
    library.search_rc = 0;
    library.search_leaf = tree.make_leaf("0.0.0.1/32");
    library.search_mask = lengths({32});
    EXPECT_NE(reply().find(failed + format("%p\n", static_cast<void *>(library.search_leaf))),
              std::string::npos);
    for (int *rc : {&library.entry_ctx_rc, &library.ctx_init_rc}) {
        *rc = 0x77;
        EXPECT_NE(reply().find("plu lookup results: mask len 32, rc 0x77\n"), std::string::npos);
        *rc = 0;
    }
    library.search_leaf = reinterpret_cast<leaf *>(0x7ffffffff000);    // never followed
    EXPECT_NE(reply().find("leaf 0x7ffffffff000 mask len 0  prefix (null) (exp:32)\n"),
              std::string::npos);
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(reply(), head + "NULL tbm_handle\n" + failed + "(nil)\n");
    f_vector.phu_search = nullptr;
    for (const command_function command : {cmd_cklkupv4, cmd_cklkupv6, cmd_cklkup}) {
        EXPECT_EQ(reply_of(command, 0, 2, 3), "phu_search not loaded\n");
    }
}

TEST_F(Lookup, HardwareLengthsGoDownToTheExpectedOne) {
    const struct {
        std::initializer_list<uint32_t> mask;
        std::set<std::string> existing;
        int32_t expected;
        int32_t result;
        strings asked;
    } cases[] = {
        {{8, 16, 32}, {"10.1.0.0/16"}, 16, 16, {"10.1.0.0/32", "10.1.0.0/16"}},
        // A longer answer is remembered; the own length, when present, takes its place.
        {{16, 24}, {"10.1.0.0/24"}, 16, 24, {"10.1.0.0/24", "10.1.0.0/16"}},
        {{16, 24}, {"10.1.0.0/24", "10.1.0.0/16"}, 16, 16, {"10.1.0.0/24", "10.1.0.0/16"}},
        // Below the expected length the first position that is missing ends the search.
        {{8, 24}, {"10.1.0.0/24", "10.1.0.0/8"}, 16, 24, {"10.1.0.0/24"}},
        {{15}, {"10.1.0.0/15"}, 16, 15, {"10.1.0.0/15"}},
        {{14, 15, 16}, {"10.1.0.0/14"}, 16, 14, {"10.1.0.0/16", "10.1.0.0/15", "10.1.0.0/14"}},
        {{13, 15, 16}, {"10.1.0.0/13"}, 16, 0, {"10.1.0.0/16", "10.1.0.0/15"}},
        // Expected length 0 takes the longest that exists.
        {{8, 24}, {"10.1.0.0/8"}, 0, 8, {"10.1.0.0/24", "10.1.0.0/8"}},
        {{1, 32}, {}, 1, 0, {"10.1.0.0/32", "10.1.0.0/1"}},
        {{}, {}, 32, 0, {}},
    };
    for (const auto &c : cases) {
        library.hardware_mask = {lengths(c.mask).high >> 32, 0};
        library.existing = c.existing;
        library.looked_up.clear();
        pfx_entry entry = pfx_entry_build_v4(0x0a010000, 16, 0);
        EXPECT_EQ(phu_hw_plu_lookup(entry, c.expected, false), c.result);
        EXPECT_EQ(library.looked_up, c.asked);
    }
}

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

}    // namespace
