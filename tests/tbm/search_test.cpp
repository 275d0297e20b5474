#include "tbm/search.h"
#include "tbm/internal_lookup.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tbm/commands.h"
#include "tests/tbm/small_way.h"

namespace {

constexpr const char *nothing_found = "  rc 0x4d7e8800 prefix len 0 (0)  prefix NULL\n";

/// The search for 10.1.2.0 on the way to 10.1.0.0/16.
class search_test : public ::testing::Test {
protected:
    search_test() { mask_set_from_left(way.end->int_mask, 16); }

    std::string v4(uint64_t length = 24, uint64_t vrf = 0) {
        return way.named(reply_of(cmd_v4, 0x0a010200, length, vrf));
    }
    static void hint(tn *node, uint8_t state, uint32_t hw_index) {
        node->hint_state = state;
        node->hw_index = hw_index;
    }

    small_way way;
};

}    // namespace

TEST(InternalLookup, TriesEveryLengthLongestFirst) {
    hand_tree tree;
    tn *inode = tree.add_intern(tree.search_at("0.0.0.0/0", 18));
    const leaf *five = tree.add_leaf(inode, "8.0.0.0/5");
    tree.add_leaf(inode, "0.0.0.0/3");
    tree.add_leaf(inode, "0.0.0.0/0");
    EXPECT_EQ(*inode_longest_leaf(inode, 1), five);
    EXPECT_EQ(named(captured([&] { tbm_retrieve_leaf_local(inode, 2); }),
                    {{inode, "INODE"}, {inode->in_lfarray, "LA"}}),
              "tbm_retrieve_leaf_local inode INODE base_prefix_pos 0x1f, prefix 0x2, "
              "max_pref_tree_len 5\n"
              "not match yet, i 5, base_prefix_pos 0xf, prefix 0x1\n"
              "not match yet, i 4, base_prefix_pos 0x7, prefix 0x0\n"
              "match found, i 3, lf offset 1, la LA\n");
    inode->in_ibmap = 0;
    const auto pieces =
        captured_pieces([&] { EXPECT_EQ(tbm_retrieve_leaf_local(inode, 31), nullptr); });
    EXPECT_EQ(pieces.size(), 7U);
    EXPECT_EQ(pieces.back(), "not match yet, i 0, base_prefix_pos 0x0, prefix 0x0\n");
    inode->in_ibmap = ~uint64_t{0};
    EXPECT_EQ(tbm_retrieve_leaf_local(inode, 31),    // as stored, whatever the array's count
              inode->in_lfarray->la_leaves + 62);
    inode->in_lfarray = nullptr;
    EXPECT_EQ(captured([&] { EXPECT_EQ(inode_longest_leaf(inode, 0), nullptr); }), "");
    EXPECT_EQ(captured_pieces([&] { EXPECT_EQ(tbm_retrieve_leaf_local(inode, 0), nullptr); })[1],
              "match found, i 5, lf offset 31, la (nil)\n");
    EXPECT_EQ(captured([] { EXPECT_EQ(tbm_retrieve_leaf_local(nullptr, 0), nullptr); }), "");
}

TEST_F(search_test, PlainWalkNarratesEveryStepAndEndsInTheLeaf) {
    const auto pieces = pieces_of(cmd_v4, 0x0a010200, 24);
    std::string steps;
    for (const std::string &piece : pieces) {
        if (piece.find("NODE") == std::string::npos && piece.find("hint_state") != 0 &&
            piece.find("  hintmask") != 0) {
            steps += way.named(piece);
        }
    }
    EXPECT_EQ(steps,
              "Search input: prefix 0x0a010200, mask len 24, vrf 0 \n"
              "pfx 0x0 bitused 18 level 0 tn ROOT sn_ebmap 0x0000000000000001 next tn VRF\n"
              "pfx 0x2 bitused 24 level 1 tn VRF sn_ebmap 0x0000000000000004 next tn NODE\n"
              "pfx 0x20 bitused 30 level 2 tn NODE sn_ebmap 0x0000000100000000 next tn END\n"
              "tbm_retrieve_leaf_local inode END base_prefix_pos 0x1f, prefix 0x2, "
              "max_pref_tree_len 5\n"
              "not match yet, i 5, base_prefix_pos 0xf, prefix 0x1\n"
              "match found, i 4, lf offset 0, la LA\n"
              "\nPHU search results:\n"
              "  rc 0x0 prefix len 34 (16)  prefix 10.1.0.0/16\n"
              "  hint level 0, phu hw index 0x00000000 hint mask 0x0000000000000000 "
              "0x0000000000000000\n");
    EXPECT_EQ(pieces[4].find("pfx 0x0 bitused 18"), 0U);    // each level: dump, then step
}

TEST_F(search_test, HintDescentKeepsTheTrailAndSkipsTheCheck) {
    hint(way.root, HINT_SEARCH, 0x29000000);
    way.root->hint_ebmap = 1;
    way.root->bmsf = 9;    // differs from the SN copy, but the node is left through its hint bit
    hint(way.vrf_node, HINT_SEARCH_END, 0x1000001);
    way.vrf_node->en_hw_index = 0x1000002;
    const std::string reply = v4();
    EXPECT_FALSE(contains(reply, "ERR PHU"));
    EXPECT_TRUE(contains(reply, "level 0 tn ROOT hint_ebmap 0x0000000000000001 next tn VRF\n"));
    EXPECT_TRUE(contains(reply, "  hint level 1, phu hw index 0x01000001 hint mask 0x0"));
    tbm_search_result result{};
    EXPECT_EQ(tbm_search_hint(way.tree.handle(), way.end_leaf->key, result), 0U);
    EXPECT_EQ(result.trail[0].en_hw_index, 0U);
    EXPECT_EQ(result.trail[1].en_hw_index, 0x1000002U);
}

TEST_F(search_test, EachFaultOfTheStoredHintDataGivesItsLine) {
    const struct {
        uint64_t low, high;
        uint8_t state, stored_bmsf;
        std::string line;
    } cases[] = {
        {0x00011100, 0, HINT_END, 0, ""},
        {0xffffffff00011100, 7, HINT_END, 99, ""},    // only 4 bytes count for IPv4
        {0x00011101, 3, HINT_END, 0, "[End Node incorrect][Mask:111013]"},
        {0x00010000, 0, HINT_SEARCH_END, 0, "[Search End Node incorrect][Mask:100000]"},
        {0, 0, HINT_SEARCH, 24, ""},
        {0, 0, HINT_SEARCH, 16, "[Search Node with Leafs - incorrect][bmsf:10][cal bmsf:18]\n"},
        {0, 0, 4, 0, ""},
    };
    way.end->bmsf = 24;
    mask_set_from_left(way.end->ext_mask, 20);
    for (const auto &c : cases) {
        SCOPED_TRACE(&c - cases);
        hint(way.end, c.state, 0x345);
        way.end->hint_sn_word = uint64_t{c.stored_bmsf} << 24 | 0xf00abcdef;
        memcpy(way.end->hint_en_mask, &c.low, sizeof c.low);
        memcpy(way.end->hint_en_mask + 8, &c.high, sizeof c.high);
        const std::string reply = v4();
        const std::string rest = c.state == HINT_SEARCH ? "" : "[Calculated Mask:01110000000000]\n";
        EXPECT_EQ(occurrences(reply, "ERR PHU"), c.line.empty() ? 0U : 1U);
        EXPECT_TRUE(c.line.empty() || contains(reply, "ERR PHU:[S:0.0.0.2.32]" + c.line + rest));
        EXPECT_TRUE(contains(reply,    // /16, /20 and the node's bmsf, /24
                             format("  hint level 0, phu hw index 0x%08x hint mask "
                                    "0x0001110000000000 0x0000000000000000\n",
                                    c.state == 4 ? 0 : 0x345U)));
    }
}

TEST(Search, Ipv6ComparesTheWholeMask) {
    hand_tree tree;
    tn *end = tree.end_at("2001:db8::/32", 48);
    tree.add_leaf(end, "2001:db8::/32");
    mask_set_from_left(end->int_mask, 32);
    end->hint_state = HINT_END;
    end->hw_index = 0x5000001;
    memcpy(end->hint_en_mask, &end->int_mask, sizeof end->int_mask);
    const auto v6 = [] { return reply_of(cmd_v6, 0x20010db800000000, 1, 64); };
    const std::string reply = v6();
    EXPECT_FALSE(contains(reply, "ERR PHU"));
    EXPECT_EQ(reply.substr(reply.rfind("rc 0x")),
              "rc 0x0 leaf prefix len 50 (32)  prefix 2001:db8::/32\n"
              "prefix 0x20010db800000000 0000000000000001 hint level 0, phu hw index 0x05000001 "
              "hint mask 0x0000000100000000 0x0000000000000000\n");
    end->hint_en_mask[0] = 1;    // length 128
    EXPECT_TRUE(
        contains(v6(), "[End Node incorrect][Mask:1100000000][Calculated Mask:0100000000]\n"));
}

TEST_F(search_test, BestLeafOfTheDeepestHintedNodeStandsIn) {
    way.tree.add_leaf(way.vrf_node, "0.0.0.0/0");
    way.tree.add_leaf(way.node, "10.0.0.0/8");
    way.end->in_ibmap = 0;
    EXPECT_TRUE(contains(v4(),
                         "no match, take best leaf\n\nPHU search results:\n"
                         "  rc 0x0 prefix len 0 (0)  prefix NULL\n"));
    way.node->par_bl_larray = tn_inode(way.vrf_node)->in_lfarray;
    hint(way.node, HINT_SEARCH, 1);
    way.end->par_bl_larray = tn_inode(way.node)->in_lfarray;    // not before it has a state
    EXPECT_TRUE(contains(v4(), "prefix len 18 (0)  prefix 0.0.0.0/0\n"));
    hint(way.end, HINT_SEARCH, 2);
    EXPECT_TRUE(contains(v4(),
                         "no match, take best leaf\n\nPHU search results:\n"
                         "  rc 0x0 prefix len 26 (8)  prefix 10.0.0.0/8\n"));
    EXPECT_TRUE(contains(v4(), "best leaf tn END la 0x"));
    way.end->par_bl_offset = 1;    // beyond the array
    EXPECT_TRUE(contains(v4(), "prefix NULL"));
}

TEST_F(search_test, EmptySlotsEndTheSearchWithItsCode) {
    EXPECT_TRUE(contains(v4(24, 64), nothing_found));    // root slot 1
    way.node->sn_charray->ta_nodes[0] = nullptr;
    EXPECT_TRUE(
        contains(v4(), "next tn (nil)\n\nPHU search results:\n" + std::string(nothing_found)));
    way.node->sn_charray->ta_nnodes = 0;
    EXPECT_TRUE(contains(v4(), nothing_found));
    way.tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(v4(), "Search input: prefix 0x0a010200, mask len 24, vrf 0 \nNULL tbm_handle\n");
}

TEST_F(search_test, ArgumentsAreLengthDetailAndVrf) {
    EXPECT_EQ(reply_of(cmd_v4, 0xf0a010200, 0, 7),
              "Search input: prefix 0x0a010200, mask len 0, vrf 7 \n"
              "skip searching default prefix\n");
    EXPECT_EQ(reply_of(cmd_v6, 0, 0, 5000), "skip searching default prefix\n");
    v4(3024);
    EXPECT_EQ(tbm_search_detail, 3U);
    EXPECT_EQ(reply_of(cmd_v4, 0x0a010200, 256, 0),    // the length is a byte of the entry
              "Search input: prefix 0x0a010200, mask len 256, vrf 0 \n"
              "skip searching default prefix\n");
    way.tree.search_at("2001:db8::/32", 18);
    EXPECT_EQ(occurrences(reply_of(cmd_v6, 0x20010db800000000, 0, 200), "child array nodes"), 0U);
    const std::string whole = reply_of(cmd_v6, 0x20010db800000000, 0, 128);
    for (const uint64_t length : {129, 200, 255}) {    // count as 128
        EXPECT_EQ(reply_of(cmd_v6, 0x20010db800000000, 0, length), whole) << length;
    }
    EXPECT_EQ(reply_of(cmd_v6, 0x20010db800000000, 0, 256), "skip searching default prefix\n");
    EXPECT_EQ(occurrences(v4(2024), "child array nodes"), 3U);
    EXPECT_EQ(occurrences(reply_of(cmd_v6, 0x20010db800000000, 0, 200), "child array nodes"), 2U);
    EXPECT_EQ(occurrences(v4(24), "child array nodes"), 0U);
}

TEST(Search, ChunkOf64OrMoreHasNoHintBit) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 0, 8);
    const tn *child = tree.add_end(node, 0x41);
    node->hint_state = HINT_SEARCH;
    node->hint_ebmap = 2;    // 0x41 mod 64
    tbm_search_result result{};
    const leaf *key = tree.make_leaf("65.0.0.0/8");
    const std::string reply = captured([&] { tbm_search_hint(tree.handle(), key->key, result); });
    EXPECT_EQ(result.hint_level, 0);
    EXPECT_TRUE(contains(named(reply, {{node, "NODE"}, {child, "CHILD"}}),
                         "pfx 0x41 bitused 26 level 1 tn NODE sn_ebmap 0x0000000000010000 "
                         "next tn CHILD\n"));
}

TEST_F(search_test, CycleEndsWithItsLine) {
    way.vrf_node->sn_charray->ta_nodes[0] = way.vrf_node;
    way.vrf_node->sn_ebmap = ~uint64_t{0};
    hint(way.vrf_node, HINT_SEARCH, 0);
    way.vrf_node->hint_ebmap = 5;    // more hint levels than the trail holds
    const std::string reply = reply_of(cmd_v4, 0, 24);
    EXPECT_EQ(occurrences(reply, "tree deeper than 64 levels"), 1U);
    EXPECT_TRUE(contains(reply, "rc 0x4d7e8800"));
}
