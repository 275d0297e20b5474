// walk in every mode.
#include "phu/commands.h"
#include "reply/text.h"
#include "reply/trace.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tests/phu/fake_hardware.h"

namespace {

std::string walk(uint64_t leaf_mode, uint64_t node_mode = 0) {
    return reply_of(cmd_walk, leaf_mode, node_mode);
}

/// IPv4 of VRF 5: a hinted root, a SEARCH_END node with leaves, an END and an unhinted node below;
/// IPv6: an unhinted root with an end node in a state in which its leaves are not listed.
class walk_test : public hardware_test {
protected:
    walk_test() {
        root = hint(tree.root(0), HINT_SEARCH, 0x00290000);
        root->hint_sn_word = phu_word_make(0x123, 7, 1);
        root->hint_sn_bitmap = 0x20;
        middle = hint(tree.search_at("0.0.0.0/0", 18, 5), HINT_SEARCH_END, 0x01010001, 0x02020002);
        middle->hint_en_mask[0] = 0xaa;
        middle->hint_en_mask[8] = 0xbb;
        middle->tn_flags |= tn_flag_bit9;
        tree.add_leaf(middle, "0.0.0.0/0", 5);
        tree.add_leaf(middle, "128.0.0.0/1", 5);
        end = hint(tree.end_at("10.1.2.0/24", 24, 5), HINT_END, 0x02020003);
        tree.add_leaf(end, "8.0.0.0/8", 5);
        plain = tree.end_at("200.0.0.0/6", 24, 5);
        tree.add_leaf(plain, "200.0.0.0/6", 5);
        v6 = hint(tree.end_at("::/0", 18), HINT_SEARCH, 0x01290400);
        tree.add_leaf(v6, "::/0");
    }

    static std::string summary(const std::string &nodes, const std::string &leaves,
                               const std::string &table) {
        return "SUM: tbm nodes: " + nodes + " bank nodes 0\ndumpable leaf: " + leaves +
               "\n           HINT INIT   SEARCH  SEARCH_END     END\n" + table +
               "\ntree walk completed\n";
    }
    [[nodiscard]] static std::string healthy_summary() {
        return summary("6, hint nodes: 4 ncfm_nodes 0", "4, dumpable nodes: 4",
                       "     node         2/        0         2/        0         0/        1"
                       "         1/        0 "
                       "\nSE   leaf         0         0         2         0 "
                       "\nINT  leaf         0         0         0         0 "
                       "\nLEAF leaf         0         0         0         0 "
                       "\nEND  leaf         1         1         0         1 ");
    }

    tn *root, *middle, *end, *plain, *v6;
};

TEST_F(walk_test, SummaryCountsNodesAndLeavesByStateAndType) {
    EXPECT_EQ(walk(0), healthy_summary());
    EXPECT_EQ(pieces_of(cmd_walk).size(), 3U + 5 + 4 * 5 + 2);
    EXPECT_STREQ(phu_pfx_str, "16.0");
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(walk(0), "NULL tbm_handle\n");
}

TEST_F(walk_test, WhatTheLibraryTakesAwayWhileALineIsSentIsNotListed) {
    leaf_array *leaves = tn_inode(middle)->in_lfarray;
    after_message = [&] {
        leaves->la_nnodes = 1;
        middle->sn_charray->ta_nnodes = 1;
    };
    const std::string text = walk(11);
    after_message = nullptr;
    EXPECT_EQ(text.find("128.0.0.0/1"), std::string::npos) << text;
    EXPECT_EQ(text.find("200.0.0.0/6"), std::string::npos) << text;
    EXPECT_NE(text.find("8.0.0.0/8"), std::string::npos) << text;
}

TEST_F(walk_test, LeafLinesNameTheirAncestorsFromTheParentUp) {
    EXPECT_EQ(walk(1),
              "-02 [T:0002,#0001,h:0002] S 0.0.5.0.0.0.0.0.0         tbm: 0.0.0.0/0"
              "                                      [P: 1 0 ]\n"
              "-02 [T:0002,#0002,h:0002] S 0.0.5.32.0.0.0.0.0        tbm: 128.0.0.0/1"
              "                                    [P: 1 0 ]\n"
              "-02 [T:0003,#0003,h:0003] E 0.0.5.2.0.0.0.0.0         tbm: 8.0.0.0/8"
              "                                      [P: 2 1 0 ]\n"
              "-02 [T:0004,#0004,h:0003] E 0.0.5.50.0.0.0.0.0        tbm: 200.0.0.0/6"
              "                                    [P: 2 1 0 ]\n" +
                  healthy_summary());
    EXPECT_EQ(pieces_of(cmd_walk, 1)[1], "1 ");
    tree.add_leaf(tree.end_at("2001:db8:1:2::/64", 78, 5), "2001:db8:1:2::/64", 5);
    EXPECT_TRUE(contains(walk(1), " E 16.0.5.8.0.4.13.46.0 "));    // of levels with a hint alone
}

TEST_F(walk_test, NodeCopiesAreShownOnRequest) {
    const auto copies = [] {
        const std::string reply = walk(0, 1);
        return reply.substr(0, reply.find("SUM"));
    };
    const std::string above =
        "SN: hwindex 0x00290000 tbm:1 me:1 bmsf:7 child ptr 0x0123 0x0000000000000020\n"
        "SN: hwindex 0x01010001 tbm:2 me:0 bmsf:0 child ptr 0x0000 0x0000000000000000\n"
        "EN: hwindex 0x02020002 bmap: 0x00000000000000bb 0x00000000000000aa tbm:2\n";
    const std::string end_copy =
        "EN: hwindex 0x02020003 bmap: 0x8000000000000000 0x0000000000000000 tbm:3\n";
    const std::string below =
        "SN: hwindex 0x01290400 tbm:6 me:0 bmsf:0 child ptr 0x0000 0x0000000000000000\n";
    end->hint_en_mask[15] = 0x80;
    EXPECT_EQ(copies(), above + below) << "no masks, no debug flag";
    for (int32_t *flag : {&plu_debug_tb, &plu_debug_xRAM}) {
        *flag = 1;
        EXPECT_EQ(copies(), above + end_copy + below);
        *flag = 0;
    }
    end->int_mask_count = 1;
    EXPECT_EQ(copies(), above + end_copy + below);
    EXPECT_TRUE(contains(walk(0), "dumpable nodes: 5\n"));
}

TEST_F(walk_test, MoreMasksThanTheLimitCountAsNcfmOnly) {
    tree.phu()->cfm_mask_count_limit = 3;
    end->int_mask_count = 2;
    end->ext_mask_count = 2;
    middle->ext_mask_count = 3;
    const std::string reply = walk(0);
    EXPECT_TRUE(contains(reply, "tbm nodes: 6, hint nodes: 3 ncfm_nodes 1 "));
    EXPECT_TRUE(contains(reply, "\nEND  leaf         1         1         0         1 "));
}

TEST_F(walk_test, UnexpectedStateIsCountedTracedAndNotDescended) {
    middle->hint_state = 9;
    phu_debug_verf_err = 1;
    EXPECT_EQ(walk(11), "");
    phu_debug_verf_err = 0;
    walk(0);
    EXPECT_EQ(tree.phu()->unexpected_state, 2U);
    EXPECT_EQ(syslog_lines, std::vector<std::string>{"0.0.5: Unexpected state incorrect: 9\n"});
}

TEST_F(walk_test, ChildrenBeyondThePathTableAreNamedAndNotWalked) {
    tn *deepest = tree.search_at("::/0", 12 + 6 * 22, 1);
    tree.add_end(deepest, 0);
    tree.end_at("::80/0", 12 + 6 * 22, 1);    // beside it
    const std::string line = "tree deeper than 23 levels at tn " + at(deepest);
    EXPECT_TRUE(contains(walk(0), line + ", children not walked\nSUM: tbm nodes: 29, "));
    EXPECT_EQ(phu_pfx[23], 32) << "the path entry of the last level";
    root->sn_charray->ta_nodes[0] = root;    // a cycle: the walk ends soon
    tree.add_end(root, 63);
    root->sn_charray->ta_nodes[1] = root;
    EXPECT_TRUE(contains(walk(0), ", walk stopped\nSUM"));
}

}    // namespace
