#include <gtest/gtest.h>

#include "phu/commands.h"
#include "phu/hint_dump.h"
#include "shm/contexts.h"
#include "tbm/commands.h"
#include "tests/tbm/small_way.h"

namespace {

constexpr uint64_t wild = 0x7ffffffff000;

/// The commands on the nodes of a way in a VRF beyond the first root slot.
class tn_test : public ::testing::Test {
protected:
    std::string tn_text(const tn *node, uint64_t options = 0, uint64_t mode = 0) {
        return way.named(reply_of(cmd_tn, number(node), options, mode));
    }
    std::string hints(const tn *node) {
        return way.named(captured([&] { tn_hint_dump(node); }));
    }

    small_way way{0xabcd};
    hand_tree &tree = way.tree;
};

using tnwalk_test = tn_test;
using tnbl_test = tn_test;

}    // namespace

TEST_F(tn_test, OwnLineNamesParentCountAndPrefix) {
    const struct {
        const tn *node;
        std::string line;
        std::string place;
    } cases[] = {
        {way.root, "NODE SEARCH addr: ROOT", " parent: (nil) child:4   \n"},
        {way.vrf_node, "NODE SEARCH addr: VRF", " parent: ROOT child:3   (0x)/0 vrf:43981\n"},
        {way.node, "NODE SEARCH addr: NODE", " parent: VRF child:2   2(0x08)/6 vrf:43981\n"},
        {way.end, "NODE    END addr: END", " parent: NODE child:1   2.32(0x0A00)/12 vrf:43981\n"},
    };
    for (const auto &c : cases) {
        const std::string plain = tn_text(c.node);
        EXPECT_EQ(plain.substr(0, c.line.size() + 1), c.line + "\n");
        EXPECT_EQ(tn_text(c.node, 1), c.line + c.place + plain.substr(c.line.size() + 1));
    }
    const tn *inode = tree.add_intern(way.node);
    EXPECT_TRUE(contains(tn_text(inode, 1), " parent: NODE child:1   2.0(0x0800)/12 vrf:43981\n"));
    EXPECT_EQ(pieces_of(cmd_tn, number(way.end), 1)[5], "(0x");
}

TEST_F(tn_test, ChainShowsEveryAncestorBelowTheRoot) {
    tree.add_intern(way.node)->in_lfarray = nullptr;
    tree.end_at("10.16.0.0/16", 30, 0xabcd);
    const std::string expected =
        "NODE SEARCH addr: VRF parent: ROOT child:6  (0x)/0 vrf:43981 hw index:0x00000000\n"
        "NODE SEARCH addr: NODE parent: VRF child:5  2(0x08)/6 vrf:43981 hw index:0x00000000\n" +
        tn_text(way.end, 1);
    EXPECT_EQ(tn_text(way.end, 4), expected);
    EXPECT_EQ(tn_text(way.end, 5), expected);
    EXPECT_EQ(tn_text(way.end, 5, 11), tn_text(way.end, 0, 11));
    EXPECT_EQ(tn_text(way.vrf_node, 5), tn_text(way.vrf_node, 1));
    EXPECT_EQ(tn_text(way.root, 5), tn_text(way.root, 1));
}

TEST_F(tn_test, SearchNodeShowsBitmapsAndChildren) {
    tn *node = way.node;
    node->hint_ebmap = 0x30;
    tn *deep = tree.search_at("10.16.0.0/16", 30, 0xabcd);
    deep->hw_index = 0xabc;
    tree.add_end(deep, 3);
    for (uint32_t chunk = 40; chunk < 45; ++chunk) {
        tree.add_end(node, chunk)->tn_flags = 6;
    }
    tree.add_leaf(node, "10.0.0.0/8", 0xabcd);
    tn *const *slots = node->sn_charray->ta_nodes;
    const auto shown = [&](uint64_t options) {
        return named(tn_text(node, options), {{slots[0], "INODE"},
                                              {deep, "DEEP"},
                                              {slots[3], "C3"},
                                              {slots[4], "C4"},
                                              {slots[5], "C5"},
                                              {slots[6], "C6"},
                                              {slots[7], "C7"}});
    };
    const std::string head = "NODE SEARCH addr: NODE\n" + hints(node) +
                             "sn_ebmap   0x00001f0300000000  (right most 1 => value 0) \n"
                             "hint_ebmap 0x0000000000000030\n"
                             "sn_charray->ta_nnodes:7  sn_charray->ta_inode_exists:1\n";
    const std::string children =
        "  child  0 INODE type:INTERN hw_index 0x00000000 inode:1\n"
        "  child  1 END type:   END hw_index 0x00000000 inode:1\n"
        "  child  2 DEEP type:SEARCH hw_index 0x00000abc inode:0 sn_charray.ta_nnodes: 1\n"
        "  child  3 C3 type:INVALID hw_index 0x00000000 inode:0\n"
        "  child  4 C4 type:INVALID hw_index 0x00000000 inode:0\n"
        "  child  5 C5 type:INVALID hw_index 0x00000000 inode:0\n";
    EXPECT_EQ(shown(0), head + children + "\n");
    EXPECT_EQ(shown(8), head + children +
                            "  child  6 C6 type:INVALID hw_index 0x00000000 inode:0\n"
                            "  child  7 C7 type:INVALID hw_index 0x00000000 inode:0\n\n");
    EXPECT_EQ(shown(2), head + children + "inode INODE in_lfarray->la_nnodes 1\n  10.0.0.0/8\n\n");
    slots[0]->in_lfarray = nullptr;
    EXPECT_EQ(shown(2), head + children + "inode INODE in_lfarray is NULL\n\n");
    EXPECT_EQ(tn_text(node, 10, 11), "\n");
    node->sn_charray->ta_nodes[1] = nullptr;
    EXPECT_TRUE(contains(shown(0), "  child  1 (nil) type:INVALID hw_index 0x00000000 inode:0\n"));
    node->sn_charray->ta_nodes = nullptr;
    EXPECT_EQ(tn_text(node), head + "\n");
}

TEST_F(tn_test, InternEndAndOtherTypes) {
    tree.add_leaf(way.end, "10.1.128.0/17", 0xabcd);
    const std::string leaves = "in_lfarray->la_nnodes 2 (la LA\n  10.1.0.0/16\n  10.1.128.0/17\n\n";
    const std::string content = "in_ibmap   0x0000000400010000  ((2^len-1) + val)\n" + leaves;
    EXPECT_EQ(tn_text(way.end), "NODE    END addr: END\n" + hints(way.end) + content);
    EXPECT_EQ(tn_text(way.end, 0, 11), leaves);
    way.end->tn_flags = TN_INTERN | tn_inode_flag;
    EXPECT_EQ(tn_text(way.end), "NODE INTERN addr: END\n" + content);
    way.end->in_lfarray = nullptr;
    EXPECT_EQ(tn_text(way.end, 0, 11), "\n");
    way.end->tn_flags = TN_LEAF;
    EXPECT_EQ(tn_text(way.end), "NODE   LEAF addr: END\nNODE: type 2\n\n");
    way.end->tn_flags = 7;
    EXPECT_EQ(tn_text(way.end), "NODE    END addr: END\nNODE: type 7\n\n");
    for (const int type :
         {int{TN_INTERN}, int{TN_LEAF}, int{TN_END}, 7}) {    // of search nodes alone
        way.end->tn_flags = static_cast<uint16_t>(type);
        EXPECT_EQ(tn_text(way.end, 2 + 8), tn_text(way.end)) << type;
        EXPECT_EQ(tn_text(way.end, 1).find(" parent: "), tn_text(way.end).find('\n')) << type;
    }
}

TEST_F(tn_test, RefusesAddressesThatAreNoNodes) {
    const uint64_t below = number(plu_shm_ctx) - 8;
    const uint64_t inside = number(way.end) + 4;
    const std::string unreadable = "address 0x7ffffffff000 is not readable\n";
    for (const auto &command : {cmd_tn, cmd_tnwalk, cmd_tnbl}) {
        EXPECT_EQ(reply_of(command, below, 15), format("invalid tn addr: 0x%lx\n", below));
        EXPECT_EQ(reply_of(command, 0x7ffffffff000, 15), unreadable);
        EXPECT_EQ(reply_of(command, inside), format("address 0x%lx is not readable\n", inside));
    }
}

/// What a damaged record hides is what hangs below it, whatever node was typed.
TEST_F(tn_test, DamageHidesOnlyWhatHangsBelowIt) {
    tn *inode = tree.add_intern(way.node);
    inode->in_lfarray = tree.make_leaf_array(1);
    const auto word = [](auto *&pointer) { return reinterpret_cast<uint64_t *>(&pointer); };
    uint64_t *const children = word(way.node->sn_charray);
    uint64_t *const leaves = word(way.end->in_lfarray);
    tn **const slots = way.node->sn_charray->ta_nodes;
    const std::string wild_line = "address 0x7ffffffff000 is not readable\n";
    const std::string wild_child = "  child  1 0x7ffffffff000 type:INVALID hw_index 0x00000000 ";
    const std::string bitmaps = "hint_ebmap 0x0000000000000000\n";
    const struct {
        uint64_t *at;
        uint64_t damage;
        const tn *shown;
        std::string text;    // of tn 15
    } rows[] = {
        {children, 0x1000, way.node, bitmaps + "\n"},
        {children, wild, way.node, bitmaps + wild_line + "\n"},
        {children, *children + 4, way.node, " is not readable\n\n"},
        {children, wild, way.vrf_node, "type:SEARCH hw_index 0x00000000 inode:1\n\n"},
        {word(slots[1]), wild, way.node, "ta_inode_exists:1\n  child  0 INODE type:INTERN"},
        {word(slots[1]), wild, way.node, wild_child + "inode:0\n"},
        {word(slots[0]), wild, way.node, wild_line + "\n"},
        {leaves, wild, way.end, "((2^len-1) + val)\naddress LA is not readable\n\n"},
        {leaves, wild, way.node, "inode INODE in_lfarray->la_nnodes 1\n  (null)\n\n"},
        {word(way.end->in_lfarray->la_leaves[0]), wild, way.end, "1 (la LA\n" + wild_line + "\n"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(&row - rows);
        const uint64_t kept = std::exchange(*row.at, row.damage);
        const std::string text = named(tn_text(row.shown, 15), {{inode, "INODE"}});
        EXPECT_TRUE(contains(text, row.text)) << text;
        EXPECT_FALSE(contains(text, " parent: (nil)")) << text;
        EXPECT_TRUE(contains(way.named(reply_of(cmd_tnwalk, number(way.vrf_node))),
                             "NODE SEARCH addr: NODE\n"));
        EXPECT_NE(reply_of(cmd_tnbl, number(way.node)), "");
        *row.at = kept;
    }
}

TEST_F(tn_test, WithoutATreeEachSearchSaysSo) {
    tree.phu()->tbm_handle = nullptr;
    const std::string line = "NODE    END addr: ENDNULL tbm_handle\n parent: (nil) child:1   \n";
    EXPECT_EQ(tn_text(way.end, 1).find(line), 0U);
    EXPECT_EQ(tn_text(way.end, 4).find("NULL tbm_handle\n" + line), 0U);
}

TEST_F(tnwalk_test, Mode11ListsLeavesAndAnEmptyLinePerNode) {
    tree.add_leaf(way.node, "10.0.0.0/8", 0xabcd);
    const tn *inode = tn_inode(way.node);
    EXPECT_EQ(named(way.named(reply_of(cmd_tnwalk, number(way.vrf_node), 11)),
                    {{inode->in_lfarray, "INSIDE"}}),
              "\n\n"
              "in_lfarray->la_nnodes 1 (la INSIDE\n  10.0.0.0/8\n\n"
              "in_lfarray->la_nnodes 1 (la LA\n  10.1.0.0/16\n\n");
    EXPECT_EQ(way.named(reply_of(cmd_tnwalk, number(way.vrf_node), 5)),
              tn_text(way.vrf_node) + tn_text(way.node) + tn_text(inode) + tn_text(way.end));
}

TEST_F(tnwalk_test, CycleEndsTheWalkAsAWhole) {
    tn *twin = tree.add_search(way.node, 3);
    tree.add_search(twin, 1);
    tree.add_search(twin, 2);
    twin->sn_charray->ta_nodes[0] = way.node;
    twin->sn_charray->ta_nodes[1] = way.node;
    const auto pieces = pieces_of(cmd_tnwalk, number(way.node), 11);
    EXPECT_EQ(pieces.size(), 65U);
    EXPECT_EQ(pieces.back().find("tree deeper than 64 levels"), 0U);
}

TEST_F(tnbl_test, ListsChildrenWithTheLeafThatCoversThem) {
    const tn *first = tree.end_at("8.0.0.0/12", 30, 0xabcd);
    tree.add_leaf(way.node, "10.0.0.0/7", 0xabcd);
    const auto tnbl = [&](const tn *node) {
        return named(way.named(reply_of(cmd_tnbl, number(node))), {{first, "FIRST"}});
    };
    EXPECT_EQ(tnbl(way.node),
              "ones 2, nnodes 2\n"
              "child idx 00 (00) child_tn FIRST (0x0800/12), longest match for child tn: (null)\n"
              "child idx 32 (01) child_tn END (0x0A00/12), longest match for child tn: "
              "10.0.0.0/7\n");
    EXPECT_TRUE(contains(tnbl(way.root), "(0x/0), longest match for child tn: (null)\n"));
    EXPECT_EQ(tnbl(way.end), "tn END is not a search node\n");
    way.node->sn_charray->ta_nodes[1] = nullptr;
    EXPECT_TRUE(contains(tnbl(way.node), "child idx 00 (00) child_tn (nil) ((null)), longest"));
    way.node->sn_charray->ta_nnodes = 1;    // a slot behind the count is taken as it is
    EXPECT_EQ(pieces_of(cmd_tnbl, number(way.node)).size(), 3U);
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(pieces_of(cmd_tnbl, number(way.node))[1], "NULL tbm_handle\n");
    way.node->sn_ebmap = 0;
    EXPECT_EQ(tnbl(way.node), "ones 0, nnodes 1\n");
}

TEST_F(tnbl_test, FirstSlotOfAGroupFollowsTheStride) {
    tn *node = tree.add_search(tree.root(7), 0, 7);
    tree.add_end(node, 2);
    const tn *shown = tree.add_end(node, 6);
    tree.add_intern(node);
    EXPECT_EQ(named(pieces_of(cmd_tnbl, number(node))[2], {{shown, "CHILD"}}),
              "child idx 03 (01) child_tn CHILD (0x0C/6), longest match for child tn: (null)\n");
    for (const uint32_t damaged : {0U, 5U, 11U, 15U}) {    // slots as if it were 6
        node->tn_flags = static_cast<uint16_t>(damaged << tn_stride_shift | tn_inode_flag);
        EXPECT_TRUE(contains(pieces_of(cmd_tnbl, number(node))[2], "03 (01) child_tn (nil) "));
    }
}
