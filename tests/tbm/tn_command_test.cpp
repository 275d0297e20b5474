#include <gtest/gtest.h>

#include "debug_channel/contexts.h"
#include "phu/hint_dump.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

std::string tn_text(const tn *node, uint64_t options = 0, uint64_t mode = 0) {
    return captured([&] { cmd_tn(number(node), options, mode); });
}

std::string hints(const tn *node) {
    return captured([&] { tn_hint_dump(node); });
}

/// VRF 5: root, then nodes behind 18 and 24 key bits, an END node behind 30.
struct small_way {
    hand_tree tree;
    tn *root = tree.root();
    tn *vrf_node = tree.search_at("10.0.0.0/8", 18, 5);
    tn *node = tree.search_at("10.0.0.0/8", 24, 5);
    tn *end = tree.end_at("10.1.0.0/16", 30, 5);

    small_way() { tree.add_leaf(end, "10.1.0.0/16", 5); }
};

}    // namespace

TEST(TnCommand, OwnLineNamesParentCountAndPrefix) {
    small_way way;
    const struct {
        const tn *node;
        const tn *parent;
        const char *type;
        int below;
        const char *place;
    } cases[] = {
        {way.root, nullptr, "SEARCH", 4, "\n"},
        {way.vrf_node, way.root, "SEARCH", 3, "(0x)/0 vrf:5\n"},
        {way.node, way.vrf_node, "SEARCH", 2, "2(0x08)/6 vrf:5\n"},
        {way.end, way.node, "   END", 1, "2.32(0x0A00)/12 vrf:5\n"},
    };
    for (const auto &c : cases) {
        const std::string line =
            format("NODE %s addr: %p", c.type, static_cast<const void *>(c.node));
        EXPECT_EQ(tn_text(c.node).find(line + "\n"), 0U);
        const std::string placed =
            line + format(" parent: %s child:%d   %s",
                          c.parent == nullptr
                              ? "(nil)"
                              : format("%p", static_cast<const void *>(c.parent)).c_str(),
                          c.below, c.place);
        EXPECT_EQ(tn_text(c.node, 1).substr(0, placed.size()), placed);
        EXPECT_EQ(tn_text(c.node, 1), placed + tn_text(c.node).substr(line.size() + 1));
    }
}

TEST(TnCommand, ChainShowsEveryAncestorBelowTheRoot) {
    small_way way;
    way.vrf_node->hw_index = 0;
    way.tree.add_intern(way.node)->in_lfarray = nullptr;
    way.tree.end_at("10.16.0.0/16", 30, 5);
    const std::string own = tn_text(way.end, 1);
    const std::string chain =
        format("NODE SEARCH addr: %p parent: %p child:6  (0x)/0 vrf:5 hw index:0x00000000\n",
               static_cast<void *>(way.vrf_node), static_cast<void *>(way.root)) +
        format("NODE SEARCH addr: %p parent: %p child:5  2(0x08)/6 vrf:5 hw index:0x00000000\n",
               static_cast<void *>(way.node), static_cast<void *>(way.vrf_node));
    EXPECT_EQ(tn_text(way.end, 4), chain + own);
    EXPECT_EQ(tn_text(way.end, 5), chain + own);
    EXPECT_EQ(tn_text(way.end, 5, 11), tn_text(way.end, 0, 11));
    EXPECT_EQ(tn_text(way.vrf_node, 5), tn_text(way.vrf_node, 1));
    EXPECT_EQ(tn_text(way.root, 5), tn_text(way.root, 1));
    const auto pieces = captured_pieces([&] { cmd_tn(number(way.end), 1, 0); });
    const std::vector<std::string> place(pieces.begin() + 2, pieces.begin() + 10);
    EXPECT_EQ(place,
              (std::vector<std::string>{"2", ".", "32", "(0x", "0A", "00", ")/12", " vrf:5\n"}));
}

TEST(TnCommand, SearchNodeShowsBitmapsAndChildren) {
    small_way way;
    tn *node = way.node;
    node->hint_ebmap = 0x30;
    tn *deep = way.tree.search_at("10.16.0.0/16", 30, 5);
    for (uint32_t chunk = 40; chunk < 45; ++chunk) {
        way.tree.add_end(node, chunk)->tn_flags = 6;
    }
    deep->hw_index = 0xabc;
    way.tree.add_end(deep, 3);
    way.tree.add_leaf(node, "10.0.0.0/8", 5);
    tn *const *slots = node->sn_charray->ta_nodes;
    auto child = [&](int i, const std::string &rest) {
        return format("  child%3d %p type:%s\n", i, static_cast<void *>(slots[i]), rest.c_str());
    };
    const std::string head = format("NODE SEARCH addr: %p\n", static_cast<void *>(node)) +
                             hints(node) +
                             format(
                                 "sn_ebmap   0x%016lx  (right most 1 => value 0) \n"
                                 "hint_ebmap 0x0000000000000030\n"
                                 "sn_charray->ta_nnodes:%d  sn_charray->ta_inode_exists:1\n",
                                 node->sn_ebmap, node->sn_charray->ta_nnodes);
    const std::string other = "INVALID hw_index 0x00000000 inode:0";
    const std::string children =
        child(0, "INTERN hw_index 0x00000000 inode:1") +
        child(1, "   END hw_index 0x00000000 inode:1") +
        child(2, "SEARCH hw_index 0x00000abc inode:0 sn_charray.ta_nnodes: 1") + child(3, other) +
        child(4, other) + child(5, other);
    EXPECT_EQ(tn_text(node), head + children + "\n");
    EXPECT_EQ(tn_text(node, 8), head + children + child(6, other) + child(7, other) + "\n");
    const std::string leaves =
        format("inode %p in_lfarray->la_nnodes 1\n  10.0.0.0/8\n", static_cast<void *>(slots[0]));
    EXPECT_EQ(tn_text(node, 2), head + children + leaves + "\n");
    slots[0]->in_lfarray = nullptr;
    EXPECT_EQ(tn_text(node, 2),
              head + children +
                  format("inode %p in_lfarray is NULL\n", static_cast<void *>(slots[0])) + "\n");
    EXPECT_EQ(tn_text(node, 10, 11), "\n");
    node->sn_charray->ta_nodes[1] = nullptr;
    EXPECT_NE(tn_text(node).find("  child  1 (nil) type:INVALID hw_index 0x00000000 inode:0\n"),
              std::string::npos);
    node->sn_charray->ta_nodes = nullptr;
    EXPECT_EQ(tn_text(node), head + "\n");
}

TEST(TnCommand, InternEndAndOtherTypes) {
    small_way way;
    way.tree.add_leaf(way.end, "10.1.128.0/17", 5);
    const std::string bitmap =
        format("in_ibmap   0x%016lx  ((2^len-1) + val)\n", way.end->in_ibmap);
    const std::string leaves = format("in_lfarray->la_nnodes 2 (la %p\n  10.1.0.0/16\n",
                                      static_cast<void *>(way.end->in_lfarray)) +
                               "  10.1.128.0/17\n";
    const std::string end_line = format("NODE    END addr: %p\n", static_cast<void *>(way.end));
    EXPECT_EQ(tn_text(way.end), end_line + hints(way.end) + bitmap + leaves + "\n");
    EXPECT_EQ(tn_text(way.end, 0, 11), leaves + "\n");
    way.end->tn_flags = TN_INTERN | tn_inode_flag;
    EXPECT_EQ(tn_text(way.end), format("NODE INTERN addr: %p\n", static_cast<void *>(way.end)) +
                                    bitmap + leaves + "\n");
    way.end->in_lfarray = nullptr;
    EXPECT_EQ(tn_text(way.end, 0, 11), "\n");
    for (const int type : {2, 7}) {
        way.end->tn_flags = static_cast<uint16_t>(type);
        EXPECT_EQ(tn_text(way.end),
                  format("NODE %6s addr: %p\nNODE: type %d\n\n", tree_node_type[type % 4],
                         static_cast<void *>(way.end), type));
    }
}

TEST(TnCommand, InternalNodeHasItsOwnerAsParent) {
    small_way way;
    const tn *inode = way.tree.add_intern(way.node);
    EXPECT_EQ(tn_text(inode, 1).find(format("NODE INTERN addr: %p parent: %p child:1   "
                                            "2.0(0x0800)/12 vrf:5\n",
                                            static_cast<const void *>(inode),
                                            static_cast<void *>(way.node))),
              0U);
}

TEST(TnCommand, RefusesAddressesThatAreNoNodes) {
    small_way way;
    const uint64_t below = number(plu_shm_ctx) - 8;
    const uint64_t unmapped = 0x7ffffffff000;
    for (const auto &command : {cmd_tn, cmd_tnwalk, cmd_tnbl}) {
        EXPECT_EQ(captured([&] { command(below, 15, 0); }),
                  format("invalid tn addr: 0x%lx\n", below));
        EXPECT_EQ(captured([&] { command(unmapped, 15, 0); }),
                  format("address 0x%lx is not readable\n", unmapped));
        EXPECT_EQ(captured([&] { command(number(way.end) + 4, 0, 0); }),
                  format("address 0x%lx is not readable\n", number(way.end) + 4));
    }
    way.node->sn_charray = reinterpret_cast<tree_array *>(unmapped);
    EXPECT_EQ(tn_text(way.node), format("address 0x%lx is not readable\n", unmapped));
}

TEST(TnCommand, WithoutATreeEachSearchSaysSo) {
    small_way way;
    way.tree.phu()->tbm_handle = nullptr;
    const std::string missing = "NULL tbm_handle\n";
    const std::string line = format("NODE    END addr: %p", static_cast<void *>(way.end));
    const std::string rest = " parent: (nil) child:1   \n";
    EXPECT_EQ(tn_text(way.end, 1).find(line + missing + rest), 0U);
    EXPECT_EQ(tn_text(way.end, 4).find(missing + line + missing + rest), 0U);
}

TEST(TnWalk, Mode11ListsLeavesAndAnEmptyLinePerNode) {
    small_way way;
    way.tree.add_leaf(way.node, "10.0.0.0/8", 5);
    const std::string expected = "\n\n" +
                                 format("in_lfarray->la_nnodes 1 (la %p\n  10.0.0.0/8\n\n",
                                        static_cast<void *>(tn_inode(way.node)->in_lfarray)) +
                                 format("in_lfarray->la_nnodes 1 (la %p\n  10.1.0.0/16\n\n",
                                        static_cast<void *>(way.end->in_lfarray));
    EXPECT_EQ(captured([&] { cmd_tnwalk(number(way.vrf_node), 11, 0); }), expected);
    EXPECT_EQ(
        captured([&] { cmd_tnwalk(number(way.vrf_node), 5, 0); }),
        tn_text(way.vrf_node) + tn_text(way.node) + tn_text(tn_inode(way.node)) + tn_text(way.end));
}

TEST(TnWalk, CycleEndsTheWalkAsAWhole) {
    small_way way;
    tn *twin = way.tree.add_search(way.node, 3);
    way.tree.add_search(twin, 1);
    way.tree.add_search(twin, 2);
    twin->sn_charray->ta_nodes[0] = way.node;
    twin->sn_charray->ta_nodes[1] = way.node;
    const auto pieces = captured_pieces([&] { cmd_tnwalk(number(way.node), 11, 0); });
    EXPECT_EQ(pieces.size(), 65U);
    EXPECT_EQ(pieces.back().find("tree deeper than 64 levels"), 0U);
}

TEST(TnBl, ListsChildrenWithTheLeafThatCoversThem) {
    small_way way;
    tn *first = way.tree.end_at("8.0.0.0/12", 30, 5);
    way.tree.add_leaf(way.node, "10.0.0.0/7", 5);
    const std::string expected =
        "ones 2, nnodes 2\n" +
        format("child idx 00 (00) child_tn %p (0x0800/12), longest match for child tn: (null)\n",
               static_cast<void *>(first)) +
        format(
            "child idx 32 (01) child_tn %p (0x0A00/12), longest match for child tn: "
            "10.0.0.0/7\n",
            static_cast<void *>(way.end));
    auto tnbl = [](const tn *node) { return captured([&] { cmd_tnbl(number(node), 0, 0); }); };
    EXPECT_EQ(tnbl(way.node), expected);
    EXPECT_NE(tnbl(way.root).find("(0x/0), longest match for child tn: (null)\n"),
              std::string::npos);
    EXPECT_EQ(tnbl(way.end), format("tn %p is not a search node\n", static_cast<void *>(way.end)));
    way.node->sn_charray->ta_nodes[1] = nullptr;
    EXPECT_NE(tnbl(way.node).find("child idx 00 (00) child_tn (nil) ((null)), longest"),
              std::string::npos);
    way.node->sn_charray->ta_nnodes = 1;
    EXPECT_EQ(captured_pieces([&] { cmd_tnbl(number(way.node), 0, 0); }).size(), 2U);
    way.tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(captured_pieces([&] { cmd_tnbl(number(way.node), 0, 0); })[1], "NULL tbm_handle\n");
    way.node->sn_ebmap = 0;
    EXPECT_EQ(tnbl(way.node), "ones 0, nnodes 1\n");
}

TEST(TnBl, FirstSlotOfAGroupFollowsTheStride) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 0, 7);
    tree.add_end(node, 2);
    const tn *shown = tree.add_end(node, 6);
    tree.add_intern(node);
    const auto pieces = captured_pieces([&] { cmd_tnbl(number(node), 0, 0); });
    EXPECT_EQ(pieces[2],
              format("child idx 03 (01) child_tn %p (0x0C/6), longest match for child tn: (null)\n",
                     static_cast<const void *>(shown)));
}
