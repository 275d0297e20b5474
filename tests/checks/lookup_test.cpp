#include <string>
#include <vector>

#include "checks/commands.h"
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

}    // namespace

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
