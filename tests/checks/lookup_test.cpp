#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "checks/commands.h"
#include "checks/plu_phu_lookup.h"
#include "debug_channel/contexts.h"
#include "debug_channel/text.h"
#include "tbm/access.h"
#include "tbm/key.h"
#include "tests/checks/fake_lookup_library.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

using strings = std::vector<std::string>;

mask128 lengths(std::initializer_list<uint32_t> values) {
    mask128 mask{};
    for (const uint32_t value : values) {
        mask_set_from_left(mask, value);
    }
    return mask;
}

struct Lookup : testing::Test {
    hand_tree tree;
    fake_lookup_library &library = fresh_fake_library();
    void SetUp() override {
        tree.root();
        phu_plu_lookup_lf_mismatch_disp = 0;
        phu_plu_lookup_lf_mismatch_count = 0;
    }
    static void *below_start() { return plu_shm_ctx; }
};

}    // namespace

TEST_F(Lookup, HostBitsBehindTheLengthAreCleared) {
    struct {
        bool v6;
        uint8_t length;
        const char *expected;
    } const cases[] = {
        {false, 0, "0.0.0.0/0"},
        {false, 1, "128.0.0.0/1"},
        {false, 8, "255.0.0.0/8"},
        {false, 13, "255.248.0.0/13"},
        {false, 31, "255.255.255.254/31"},
        {false, 32, "255.255.255.255/32"},
        {true, 0, "::/0"},
        {true, 3, "e000::/3"},
        {true, 64, "ffff:ffff:ffff:ffff::/64"},
        {true, 127, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe/127"},
        {true, 128, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128"},
    };
    for (const auto &c : cases) {
        pfx_entry entry;
        pfx_entry_build_v6(entry, ~uint64_t{0}, ~uint64_t{0}, 128);
        if (!c.v6) {
            entry = pfx_entry_build_v4(0xffffffff, 0, 0);
        }
        entry.set_length(c.length);
        pfx_entry_clear_host_bits(entry);
        tbm_key key{};
        pfx_entry_to_tbm_key(entry, key);
        EXPECT_STREQ(tbmd_key_str(key.bytes, key.key_bits_used), c.expected);
        EXPECT_EQ(entry.length(), c.length);
    }
    pfx_entry unknown;
    pfx_entry_build_v6(unknown, ~uint64_t{0}, 0, 64);
    unknown.type = 3;
    unknown.set_length(8);
    pfx_entry_clear_host_bits(unknown);
    EXPECT_EQ(unknown.address[1], 0xff);
}

TEST_F(Lookup, Ipv4CrossCheckTellsEveryStep) {
    library.search_leaf = tree.make_leaf("10.1.2.0/24", 5);
    library.search_mask = lengths({8, 16, 24, 40});    // 40 is no length of IPv4
    library.search_hint_level = 2;
    library.existing = {"10.1.0.0/16", "10.0.0.0/8"};
    const strings pieces = captured_pieces([] { cmd_cklkupv4(0xf0a010203, 0x108, 0x100000005); });
    const std::string masks =
        "    hw index 0x01020002 hint mask 0x0101010001000000 0x0000000000000000\n";
    EXPECT_EQ(pieces,
              (strings{"prefix 0xf0a010203, mask len: 8, vrf: 5\n",
                       format("phu_search() results: leaf %p mask len 42  prefix 10.1.2.0/24 "
                              "(exp:8)\n",
                              static_cast<void *>(library.search_leaf)),
                       masks, "plu lookup start mask len: 32\n",
                       "plu lookup results: mask len 24, rc 0x4d7e0001\n",
                       "plu lookup results: mask len 16, rc 0x0\n",
                       "best match: mask len 16, 10.1.2.0/24\n"}));
    EXPECT_EQ(library.searched, strings{"10.1.2.3/32"});
    EXPECT_EQ(library.looked_up, (strings{"10.1.2.0/24", "10.1.0.0/16"}));
    EXPECT_EQ(library.last_entry_ctx.bucket[0], reinterpret_cast<void *>(100 * 0x100));
    EXPECT_EQ(library.last_entry_ctx.bucket[1], nullptr);
    EXPECT_EQ(library.last_entry_ctx.bucket[2], reinterpret_cast<void *>(70 * 0x100 + 2));
}

TEST_F(Lookup, Ipv4ExampleIsUsedWithoutAddress) {
    library.search_mask = lengths({19});
    library.search_leaf = tree.make_leaf("64.31.0.0/19", 200);
    library.existing = {"64.31.0.0/19"};
    const strings pieces = captured_pieces([] { cmd_cklkupv4(0, 8, ~uint64_t{0}); });
    EXPECT_EQ(pieces.front(), "prefix 0x0, mask len: 19, vrf: -1\n");
    EXPECT_EQ(pieces.back(), "best match: mask len 19, 64.31.0.0/19\n");
}

TEST_F(Lookup, Ipv6CrossCheck) {
    const std::string usage = "valid input: a1 pfx high, a2 pfx low, a3 1000 x vrf + mask len\n";
    EXPECT_EQ(captured([] { cmd_cklkupv6(0, 0, 5064); }), usage);
    EXPECT_EQ(captured([] { cmd_cklkupv6(1, 2, 0); }), usage);
    library.search_leaf = tree.make_leaf("2001:db8::/32", 5);
    library.search_mask = lengths({1, 32, 64, 65, 128});
    library.search_hint_level = 24;    // behind the trail
    library.existing = {"2001:db8::/32"};
    const std::string reply = captured([] { cmd_cklkupv6(0x20010db800010000, 1, 5064); });
    EXPECT_EQ(reply,
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
    const auto run = [] { return captured([] { cmd_cklkupv4(1, 32, 0); }); };
    EXPECT_EQ(run(), head + failed + "(nil)\n");
    library.search_rc = 0x4d000003;
    EXPECT_EQ(run(), head + "phu lookup failed rc 0x4d000003 \n" + failed + "(nil)\n");
    library.search_rc = 0;
    library.search_leaf = tree.make_leaf("0.0.0.1/32");
    library.search_mask = lengths({32});
    EXPECT_NE(run().find(failed + format("%p\n", static_cast<void *>(library.search_leaf))),
              std::string::npos);
    for (int *rc : {&library.entry_ctx_rc, &library.ctx_init_rc}) {
        *rc = 0x77;
        EXPECT_NE(run().find("plu lookup results: mask len 32, rc 0x77\n"), std::string::npos);
        *rc = 0;
    }
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(run(), head + "NULL tbm_handle\n" + failed + "(nil)\n");
    f_vector.phu_search = nullptr;
    EXPECT_EQ(run(), "phu_search not loaded\n");
    EXPECT_EQ(captured([] { cmd_cklkupv6(1, 2, 3); }), "phu_search not loaded\n");
    EXPECT_EQ(captured([] { cmd_cklkup(0, 0, 0); }), "phu_search not loaded\n");
}

TEST_F(Lookup, LeafBelowTheSharedMemoryIsReportedElevenTimes) {
    library.search_leaf = static_cast<leaf *>(below_start());
    library.search_mask = lengths({32});
    for (int event = 1; event <= 13; ++event) {
        const std::string reply = captured([] { cmd_cklkupv4(1, 32, 0); });
        const bool shown = event <= 11;
        EXPECT_EQ(reply.find(format("lf mismatch found in phu_plu_lookup, lf orig (nil) lf %p, "
                                    "tn (nil) prefix NULL\n",
                                    below_start())) != std::string::npos,
                  shown)
            << event;
        EXPECT_NE(reply.find(shown ? "lf (nil)\n" : format("lf %p\n", below_start())),
                  std::string::npos);
        EXPECT_EQ(phu_plu_lookup_lf_mismatch_count, event);
    }
    EXPECT_TRUE(library.looked_up.empty());
    captured([] { cmd_cklkuphw(0, 0, 0); });
    EXPECT_EQ(phu_plu_lookup_lf_mismatch_disp, 13);
    captured([] { cmd_cklkup(0, 0, 0); });
    EXPECT_EQ(phu_plu_lookup_lf_mismatch_disp, 0);
    EXPECT_EQ(phu_plu_lookup_lf_mismatch_count, 0);
}

TEST_F(Lookup, HardwareLengthsGoDownToTheExpectedOne) {
    struct {
        std::initializer_list<uint32_t> mask;
        std::set<std::string> existing;
        int32_t expected;
        int32_t result;
        strings asked;
    } const cases[] = {
        {{8, 16}, {"10.1.0.0/8", "10.1.0.0/16"}, 16, 16, {"10.1.0.0/16"}},
        {{8, 16, 32}, {"10.1.0.0/16"}, 16, 16, {"10.1.0.0/32", "10.1.0.0/16"}},
        // A longer answer is remembered; the own length, when present, takes its place.
        {{16, 24}, {"10.1.0.0/24"}, 16, 24, {"10.1.0.0/24", "10.1.0.0/16"}},
        {{16, 24}, {"10.1.0.0/24", "10.1.0.0/16"}, 16, 16, {"10.1.0.0/24", "10.1.0.0/16"}},
        // Below the expected length the first position that is missing ends the search.
        {{8, 24}, {"10.1.0.0/24", "10.1.0.0/8"}, 16, 24, {"10.1.0.0/24"}},
        {{8}, {"10.1.0.0/8"}, 16, 0, {}},
        {{15}, {"10.1.0.0/15"}, 16, 15, {"10.1.0.0/15"}},
        {{14, 15, 16}, {"10.1.0.0/14"}, 16, 14, {"10.1.0.0/16", "10.1.0.0/15", "10.1.0.0/14"}},
        {{13, 15, 16}, {"10.1.0.0/13"}, 16, 0, {"10.1.0.0/16", "10.1.0.0/15"}},
        // Expected length 0 takes the longest that exists.
        {{8, 24}, {"10.1.0.0/8"}, 0, 8, {"10.1.0.0/24", "10.1.0.0/8"}},
        {{24}, {}, 0, 0, {"10.1.0.0/24"}},
        {{1, 32}, {}, 1, 0, {"10.1.0.0/32", "10.1.0.0/1"}},
        {{1}, {"10.1.0.0/1"}, 32, 0, {}},
        {{}, {}, 32, 0, {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::PrintToString(std::vector<uint32_t>(c.mask)) +
                     std::to_string(c.expected));
        library.hardware_mask = {lengths(c.mask).high >> 32, 0};
        library.existing = c.existing;
        library.looked_up.clear();
        pfx_entry entry = pfx_entry_build_v4(0x0a010000, 16, 0);
        EXPECT_EQ(phu_hw_plu_lookup(entry, c.expected, false), c.result);
        EXPECT_EQ(library.looked_up, c.asked);
    }
}

TEST_F(Lookup, HardwareLookupOfIpv6TellsEveryStep) {
    library.hardware_mask = lengths({64, 65, 128});
    library.existing = {"2001:db8::1/64"};
    pfx_entry entry;
    pfx_entry_build_v6(entry, 0x20010db800000000, 1, 128);
    entry.set_length(64);
    int32_t best = 0;
    EXPECT_EQ(captured([&] { best = phu_hw_plu_lookup(entry, 64, true); }),
              "phu lkup: mask len 82 (exp:64) prefix 0x20010db8 hint mask 0x0000000000000001 "
              "0x8000000000000001\n"
              "plu lookup v2: mask len 128, rc 0x4d7e0001\n"
              "plu lookup v2: mask len 65, rc 0x4d7e0001\n"
              "plu lookup v2: mask len 64, rc 0x0\n");
    EXPECT_EQ(best, 64);
    EXPECT_EQ(entry.length(), 64);
    library.node_read_rc = 1;
    EXPECT_EQ(captured([&] { best = phu_hw_plu_lookup(entry, 64, true); }),
              "ERR: phu_hw_read_node error: phu_hw_index:0x00290400\n"
              "phu hw lookup failed rc 0x4d7eca00\n");
    EXPECT_EQ(best, 0);
}
