#include "tbm/search.h"

#include <gtest/gtest.h>

#include "debug_channel/contexts.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

constexpr uint64_t address_10_1_2_0 = 0x0a010200;

std::string v4(uint64_t address, uint64_t length = 24, uint64_t vrf = 0) {
    return captured([&] { cmd_v4(address, length, vrf); });
}

/// Part of a reply from the last line that starts with `start`.
std::string from(const std::string &reply, const std::string &start) {
    const size_t at = reply.rfind("\n" + start);
    return at == std::string::npos ? reply : reply.substr(at + 1);
}

size_t count(const std::string &reply, const std::string &text) {
    size_t found = 0;
    for (size_t at = reply.find(text); at != std::string::npos; at = reply.find(text, at + 1)) {
        ++found;
    }
    return found;
}

/// Way of 10.1.2.0 down to an END node behind 30 key bits; every node without a hint.
struct small_way {
    hand_tree tree;
    tn *root = tree.root();
    tn *vrf_node = tree.search_at("10.0.0.0/8", 18);
    tn *node = tree.search_at("10.0.0.0/8", 24);
    tn *end = tree.end_at("10.1.0.0/16", 30);
    leaf *end_leaf = tree.add_leaf(end, "10.1.0.0/16");

    small_way() { end->int_mask = mask_of(16); }

    static mask128 mask_of(uint32_t length) {
        mask128 mask{};
        mask_set_from_left(mask, length);
        return mask;
    }
    void hint(tn *node_to_hint, uint8_t state, uint32_t hw_index) {
        node_to_hint->hint_state = state;
        node_to_hint->hw_index = hw_index;
    }
};

}    // namespace

TEST(InternalLookup, TriesEveryLengthLongestFirst) {
    hand_tree tree;
    tn *inode = tree.add_intern(tree.search_at("0.0.0.0/0", 18));
    const leaf *five = tree.add_leaf(inode, "8.0.0.0/5");
    const leaf *three = tree.add_leaf(inode, "0.0.0.0/3");
    const leaf *all = tree.add_leaf(inode, "0.0.0.0/0");
    EXPECT_EQ(*inode_longest_leaf(inode, 1), five);
    EXPECT_EQ(*inode_longest_leaf(inode, 2), three);
    EXPECT_EQ(*inode_longest_leaf(inode, 31), all);
    const std::string head = format(
        "tbm_retrieve_leaf_local inode %p base_prefix_pos 0x1f, prefix 0x2, "
        "max_pref_tree_len 5\n",
        static_cast<void *>(inode));
    EXPECT_EQ(captured([&] { tbm_retrieve_leaf_local(inode, 2); }),
              head +
                  "not match yet, i 5, base_prefix_pos 0xf, prefix 0x1\n"
                  "not match yet, i 4, base_prefix_pos 0x7, prefix 0x0\n" +
                  format("match found, i 3, lf offset 1, la %p\n",
                         static_cast<void *>(inode->in_lfarray)));
    inode->in_ibmap &= ~uint64_t{1};
    const auto pieces =
        captured_pieces([&] { EXPECT_EQ(tbm_retrieve_leaf_local(inode, 31), nullptr); });
    EXPECT_EQ(pieces.size(), 7U);
    EXPECT_EQ(pieces.back(), "not match yet, i 0, base_prefix_pos 0x0, prefix 0x0\n");
}

TEST(InternalLookup, MissingArraysYieldNothing) {
    hand_tree tree;
    tn *inode = tree.add_intern(tree.root());
    inode->in_ibmap = ~uint64_t{0};
    EXPECT_EQ(tbm_retrieve_leaf_local(inode, 31), nullptr);    // bitmap says more than the array
    inode->in_lfarray = nullptr;
    EXPECT_EQ(captured([&] { EXPECT_EQ(inode_longest_leaf(inode, 0), nullptr); }), "");
    EXPECT_EQ(captured_pieces([&] { EXPECT_EQ(tbm_retrieve_leaf_local(inode, 0), nullptr); })[1],
              "match found, i 5, lf offset 31, la (nil)\n");
    EXPECT_EQ(captured([] { EXPECT_EQ(tbm_retrieve_leaf_local(nullptr, 0), nullptr); }), "");
}

TEST(Search, PlainWalkNarratesEveryStepAndEndsInTheLeaf) {
    small_way way;
    const auto pieces = captured_pieces([] { cmd_v4(address_10_1_2_0, 24, 0); });
    std::vector<std::string> steps;
    for (const std::string &piece : pieces) {
        if (piece.find("NODE") == std::string::npos && piece.find("hint_state") != 0 &&
            piece.find("  hintmask") != 0) {
            steps.push_back(piece);
        }
    }
    auto descent = [](int chunk, int bits, int level, const tn *node, const tn *next) {
        return format("pfx 0x%x bitused %d level %d tn %p sn_ebmap 0x%016lx next tn %p\n",
                      static_cast<unsigned>(chunk), bits, level, static_cast<const void *>(node),
                      node->sn_ebmap, static_cast<const void *>(next));
    };
    const std::string lookup = format(
        "tbm_retrieve_leaf_local inode %p base_prefix_pos 0x1f, prefix 0x2, max_pref_tree_len 5\n",
        static_cast<void *>(way.end));
    const std::string match =
        format("match found, i 4, lf offset 0, la %p\n", static_cast<void *>(way.end->in_lfarray));
    const std::string hints = format("  hint level 0, phu hw index 0x%08x hint mask %s %s\n", 0,
                                     "0x0000000000000000", "0x0000000000000000");
    const std::vector<std::string> expected = {
        "Search input: prefix 0x0a010200, mask len 24, vrf 0 \n",
        descent(0, 18, 0, way.root, way.vrf_node),
        descent(2, 24, 1, way.vrf_node, way.node),
        descent(0x20, 30, 2, way.node, way.end),
        lookup,
        "not match yet, i 5, base_prefix_pos 0xf, prefix 0x1\n",
        match,
        "\nPHU search results:\n",
        "  rc 0x0 prefix len 34 (16)  prefix 10.1.0.0/16\n",
        hints};
    EXPECT_EQ(steps, expected);
    EXPECT_EQ(pieces[4].substr(0, 32), steps[1].substr(0, 32));    // each level: dump, then step
}

TEST(Search, HintDescentKeepsTheTrailAndSkipsTheCheck) {
    small_way way;
    way.hint(way.root, HINT_SEARCH, 0x29000000);
    way.root->hint_ebmap = 1;
    way.root->bmsf = 9;    // differs from the SN copy, but the node is left through its hint bit
    way.hint(way.vrf_node, HINT_SEARCH_END, 0x1000001);
    way.vrf_node->en_hw_index = 0x1000002;
    way.hint(way.end, HINT_INIT, 0x77);
    const std::string reply = v4(address_10_1_2_0);
    EXPECT_EQ(count(reply, "ERR PHU"), 0U);
    EXPECT_EQ(
        count(reply, format("level 0 tn %p hint_ebmap 0x0000000000000001 next tn %p\n",
                            static_cast<void *>(way.root), static_cast<void *>(way.vrf_node))),
        1U);
    EXPECT_EQ(from(reply, "  hint level"),
              "  hint level 1, phu hw index 0x01000001 hint mask 0x0000000000000000 "
              "0x0000000000000000\n");
    tbm_search_result result{};
    EXPECT_EQ(tbm_search_hint(way.tree.handle(), way.end_leaf->key, result), 0U);
    EXPECT_EQ(result.trail[0].hw_index, 0x29000000U);
    EXPECT_EQ(result.trail[0].en_hw_index, 0U);
    EXPECT_EQ(result.trail[1].en_hw_index, 0x1000002U);
    EXPECT_EQ(result.level, 3);
}

TEST(Search, EachFaultOfTheStoredHintDataGivesItsLine) {
    const mask128 expected{0, 0x0001010000000000};    // /16 and the node's bmsf, /24
    struct {
        mask128 stored_mask;
        const char *line;
        uint8_t state;
        uint8_t stored_bmsf;
    } const cases[] = {
        {{0x00010100, 0}, "", HINT_END, 0},
        {{0xffffffff00010100, 7}, "", HINT_END, 99},    // only 4 bytes count for IPv4
        {{0x00010101, 3},
         "ERR PHU:[S:0.0.0.2.32][End Node incorrect][Mask:101013]"
         "[Calculated Mask:01010000000000]\n",
         HINT_END,
         0},
        {{0x00010000, 0},
         "ERR PHU:[S:0.0.0.2.32][Search End Node incorrect][Mask:100000]"
         "[Calculated Mask:01010000000000]\n",
         HINT_SEARCH_END,
         0},
        {{}, "", HINT_SEARCH, 24},
        {{},
         "ERR PHU:[S:0.0.0.2.32][Search Node with Leafs - incorrect][bmsf:10][cal bmsf:18]\n",
         HINT_SEARCH,
         16},
        {{}, "", 4, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(int{c.state});
        small_way way;
        way.hint(way.end, c.state, 0x345);
        way.end->bmsf = 24;
        way.end->hint_sn_word = uint64_t{c.stored_bmsf} << 24 | 0xf00abcdef;
        memcpy(way.end->hint_en_mask, &c.stored_mask, sizeof c.stored_mask);
        const std::string reply = v4(address_10_1_2_0);
        EXPECT_EQ(count(reply, "ERR PHU"), *c.line == '\0' ? 0U : 1U);
        EXPECT_EQ(count(reply, c.line) != 0, true) << reply;
        EXPECT_EQ(from(reply, "  hint level"),
                  format("  hint level 0, phu hw index 0x%08x hint mask 0x%016lx %s\n",
                         c.state == 4 ? 0 : 0x345U, expected.high, "0x0000000000000000"));
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
    auto v6 = [] { return captured([] { cmd_v6(0x20010db800000000, 1, 64); }); };
    EXPECT_EQ(count(v6(), "ERR PHU"), 0U);
    EXPECT_EQ(from(v6(), "rc"),
              "rc 0x0 leaf prefix len 50 (32)  prefix 2001:db8::/32\n"
              "prefix 0x20010db800000000 0000000000000001 hint level 0, phu hw index 0x05000001 "
              "hint mask 0x0000000100000000 0x0000000000000000\n");
    end->hint_en_mask[0] = 1;    // length 128
    EXPECT_EQ(count(v6(), "[End Node incorrect][Mask:1100000000][Calculated Mask:0100000000]\n"),
              1U);
    EXPECT_EQ(captured([] { cmd_v6(0, 0, 5000); }), "skip searching default prefix\n");
}

TEST(Search, BestLeafOfTheDeepestHintedNodeStandsIn) {
    small_way way;
    const leaf *upper = way.tree.add_leaf(way.vrf_node, "0.0.0.0/0");
    const leaf *lower = way.tree.add_leaf(way.node, "10.0.0.0/8");
    leaf_array *upper_array = tn_inode(way.vrf_node)->in_lfarray;
    leaf_array *lower_array = tn_inode(way.node)->in_lfarray;
    way.end->in_ibmap = 0;
    EXPECT_EQ(from(v4(address_10_1_2_0), "no match"),
              "no match, take best leaf\n\nPHU search results:\n"
              "  rc 0x0 prefix len 0 (0)  prefix NULL\n"
              "  hint level 0, phu hw index 0x00000000 hint mask 0x0000000000000000 "
              "0x0000000000000000\n");
    way.node->par_bl_larray = upper_array;
    way.hint(way.node, HINT_SEARCH, 1);
    way.end->par_bl_larray = lower_array;
    EXPECT_NE(v4(address_10_1_2_0).find("prefix len 18 (0)  prefix 0.0.0.0/0\n"),
              std::string::npos);
    way.hint(way.end, HINT_SEARCH, 2);
    std::string reply = v4(address_10_1_2_0);
    EXPECT_EQ(count(reply, format("best leaf tn %p la %p offset 0\n", static_cast<void *>(way.end),
                                  static_cast<void *>(lower_array))),
              1U);
    EXPECT_NE(reply.find("prefix len 26 (8)  prefix 10.0.0.0/8\n"), std::string::npos);
    way.end->par_bl_offset = 1;    // beyond the array
    EXPECT_NE(v4(address_10_1_2_0).find("prefix NULL"), std::string::npos);
    EXPECT_NE(upper, lower);
}

TEST(Search, EmptySlotsEndTheSearchWithItsCode) {
    small_way way;
    const std::string nothing = "  rc 0x4d7e8800 prefix len 0 (0)  prefix NULL\n";
    EXPECT_NE(v4(address_10_1_2_0, 24, 64).find(nothing), std::string::npos);    // root slot 1
    way.node->sn_charray->ta_nodes[0] = nullptr;
    std::string reply = v4(address_10_1_2_0);
    EXPECT_NE(reply.find("next tn (nil)\n\nPHU search results:\n" + nothing), std::string::npos);
    way.node->sn_charray->ta_nnodes = 0;
    EXPECT_NE(v4(address_10_1_2_0).find(nothing), std::string::npos);
    way.tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(v4(address_10_1_2_0),
              "Search input: prefix 0x0a010200, mask len 24, vrf 0 \nNULL tbm_handle\n");
}

TEST(Search, V4ArgumentsAreLengthDetailAndVrf) {
    small_way way;
    EXPECT_EQ(v4(0xf0a010200, 0, 7),
              "Search input: prefix 0x0a010200, mask len 0, vrf 7 \n"
              "skip searching default prefix\n");
    v4(address_10_1_2_0, 3024);
    EXPECT_EQ(tbm_search_detail, 3U);
    EXPECT_EQ(count(captured([] { cmd_v6(0, 0, 24); }), "child array nodes"), 0U);
    EXPECT_EQ(count(v4(address_10_1_2_0, 2024), "child array nodes"), 3U);
    EXPECT_EQ(count(v4(address_10_1_2_0, 24), "child array nodes"), 0U);
}

TEST(Search, ChunkOf64OrMoreHasNoHintBit) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 0, 8);
    tn *child = tree.add_end(node, 0x41);
    node->hint_state = HINT_SEARCH;
    node->hint_ebmap = 2;    // 0x41 mod 64
    tbm_search_result result{};
    const leaf *key = tree.make_leaf("65.0.0.0/8");
    const std::string reply = captured([&] { tbm_search_hint(tree.handle(), key->key, result); });
    EXPECT_EQ(result.hint_level, 0);
    EXPECT_EQ(count(reply, format("pfx 0x41 bitused 26 level 1 tn %p sn_ebmap 0x0000000000010000 "
                                  "next tn %p\n",
                                  static_cast<void *>(node), static_cast<void *>(child))),
              1U);
}

TEST(Search, CycleEndsWithItsLine) {
    small_way way;
    way.node->tn_flags &= 0xff0f;
    way.node->tn_flags |= 6 << tn_stride_shift;
    way.node->sn_charray->ta_nodes[0] = way.root;
    way.node->sn_ebmap = 0;
    way.vrf_node->sn_charray->ta_nodes[0] = way.vrf_node;
    way.vrf_node->sn_ebmap = ~uint64_t{0};
    way.vrf_node->sn_charray->ta_nnodes = 1;
    way.vrf_node->hint_state = HINT_SEARCH;
    way.vrf_node->hint_ebmap = 5;
    const std::string reply = captured([] { cmd_v4(0, 24, 0); });
    EXPECT_EQ(count(reply, "tree deeper than 64 levels"), 1U);
    EXPECT_NE(reply.find("rc 0x4d7e8800"), std::string::npos);
}
