#include <gtest/gtest.h>

#include <sstream>

#include "tbm/access.h"
#include "tbm/commands.h"
#include "tbm/count_prefixes.h"
#include "tbm/leaf_owner.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

/// The report of cntpfx with the counters of a list ("h_eq total:4") at their values, 1 when none
/// is given, and all others 0.
std::string counted(const std::string &list) {
    std::string text =
        "Prefix: {total} (internal count {int} end count {end}), INIT hw index {init_hw}, hbmap "
        "{hbmap} in sn_ebmap {inside}\n"
        "hwidx {hwidx} ebmap {ebmap} idx+ebmap {idx+ebmap}\n"
        "ebmap s {ebmap_s} se{ebmap_se} e {ebmap_e}\n"
        "hwidx search {hwidx_s} end {hwidx_e} search_end {hwidx_se}\n"
        "h_ebmap {h_ebmap} sn_ebmap {sn} sn and h ebmap {sn+h} sn eq h ebmap {sn=h} heb and "
        "ext_mask {heb+ext}\n"
        "h_eq_int_n_ext {h_eq} h_neq_int_n_ext {h_neq} ext {ext}\n"
        "internal node prefix mask match parent hint_mask {in} not match {out}\n"
        "end node with pfx {with}, w/o pfx {without} end node pfx eq hmask {end_eq} neq {end_neq}\n"
        "{init_bl} tn in hint state INIT but having par bl larray pointer set\n";
    const auto put = [&](size_t from, size_t to, const std::string &value) {
        text.replace(from, to + 1 - from, value);
    };
    std::istringstream words(list);
    for (std::string word; words >> word;) {
        const size_t colon = word.find(':');
        const std::string name = "{" + word.substr(0, colon) + "}";
        const size_t at = text.find(name);
        EXPECT_NE(at, std::string::npos) << name;
        put(at, at + name.size() - 1, colon == std::string::npos ? "1" : word.substr(colon + 1));
    }
    for (size_t at = text.find('{'); at != std::string::npos; at = text.find('{')) {
        put(at, text.find('}'), "0");
    }
    return text;
}

}    // namespace

TEST(ShowLa, OwnerIsTheSearchNodeOrTheNodeItself) {
    hand_tree tree;
    tn *node = tree.search_at("10.0.0.0/8", 24);
    tree.add_leaf(node, "10.0.0.0/8");
    tn *end = tree.end_at("10.1.0.0/16", 30);
    tree.add_leaf(end, "10.1.0.0/16");
    const leaf_array *inside = tn_inode(node)->in_lfarray;
    EXPECT_EQ(named(reply_of(cmd_showla, number(inside)), {{inside, "LA"}, {node, "NODE"}}),
              "la LA tn NODE\nla_nnodes 1 (la LA)\n  10.0.0.0/8\n");
    const struct {
        uint32_t flags;
        const tn *owner;
    } rows[] = {{TN_END | tn_inode_flag, end},
                {TN_END, nullptr},
                {TN_INTERN | tn_inode_flag, end},
                {TN_LEAF | tn_inode_flag, nullptr}};
    for (const auto &row : rows) {
        end->tn_flags = static_cast<uint16_t>(row.flags);
        EXPECT_EQ(la_owner_find(end->in_lfarray), row.owner) << row.flags;
    }
    EXPECT_EQ(la_owner_find(nullptr), nullptr);
}

TEST(ShowLa, FirstOwnerInTheTreeOrNobody) {
    hand_tree tree;
    tn *bare = tree.search_at("10.0.0.0/8", 24);    // no internal node
    tn *node = tree.search_at("128.0.0.0/8", 24);
    tree.add_leaf(node, "128.0.0.0/8");
    tn *second = tree.search_at("10.0.0.0/8", 24, 100);    // below another root
    tree.add_leaf(second, "10.0.0.0/8", 100);
    leaf_array *const leaves = tn_inode(node)->in_lfarray;
    EXPECT_EQ(la_owner_find(tn_inode(second)->in_lfarray), second);
    tn_inode(second)->in_lfarray = leaves;
    bare->sn_charray = nullptr;
    EXPECT_EQ(la_owner_find(leaves), node);
    node->tn_flags = static_cast<uint16_t>(node->tn_flags & ~tn_inode_flag);
    EXPECT_EQ(la_owner_find(leaves), second);
}

TEST(ShowLa, ArrayWithoutOwnerIsListedOnlyByForce) {
    hand_tree tree;
    tree.root();
    leaf_array *array = tree.make_leaf_array(3);
    array->la_leaves[0] = tree.make_leaf("10.1.2.0/24");
    array->la_leaves[2] = reinterpret_cast<leaf *>(0x7ffffffff000);
    const auto showla = [&](uint64_t force) {
        return named(reply_of(cmd_showla, number(array), force), {{array, "LA"}});
    };
    EXPECT_EQ(showla(0),
              "la LA tn (nil)\ncant find leaf array parent tn, skip detailed leaf info\n");
    EXPECT_EQ(showla(1),
              "la LA tn (nil)\nla_nnodes 3 (la LA)\n  10.1.2.0/24\n  (null)\n"
              "address 0x7ffffffff000 is not readable\n");
    EXPECT_EQ(reply_of(cmd_showla, 0x7ffffffff000, 1), "address 0x7ffffffff000 is not readable\n");
    EXPECT_EQ(reply_of(cmd_showla, 0x1230, 1), "invalide leaf array addr:0x1230\n");
    tree.root_array()->ta_nodes[0] = nullptr;
    EXPECT_EQ(reply_of(cmd_showla, 0, 1), "address 0x0 is not readable\n");
    EXPECT_EQ(reply_of(cmd_showla, 0),
              "la (nil) tn (nil)\ncant find leaf array parent tn, skip "
              "detailed leaf info\n");
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(showla(0), "NULL tbm_handle\n");
}

/// One SEARCH node below the root; each change moves its own counters from the base case.
TEST(CntPfx, EverySearchNodeCounterHasItsRule) {
    const std::string hinted = "hbmap ebmap h_ebmap ";
    const auto leaves = [] { return reinterpret_cast<leaf_array *>(16); };
    const struct {
        std::function<void(tn *)> change;
        std::string moved;
    } cases[] = {
        {[](tn *) {}, "h_eq"},
        {[](tn *n) { n->hw_index = 1; }, "h_eq init_hw"},
        {[](tn *n) { n->hint_state = 1, n->hw_index = 1; }, "h_eq hwidx hwidx_s"},
        {[](tn *n) { n->hint_state = 2, n->hw_index = 1; }, "h_eq hwidx hwidx_se"},
        {[](tn *n) { n->hint_state = 3, n->hw_index = 1; }, "h_eq hwidx hwidx_e"},
        {[](tn *n) { n->hint_state = 4, n->hw_index = 1; }, "h_eq hwidx"},
        {[](tn *n) { n->hint_state = 3; }, "h_eq"},
        {[](tn *n) { n->hint_ebmap = 6; }, hinted},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 1; }, hinted + "ebmap_s"},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 2; }, hinted + "ebmap_se"},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 3; }, hinted + "ebmap_e"},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 4; }, hinted},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 4, n->hw_index = 1; },
         hinted + "hwidx idx+ebmap"},
        {[](tn *n) { n->hint_ebmap = 6, n->ext_mask.low = 1; }, hinted + "heb+ext"},
        {[](tn *n) { n->sn_ebmap = 1; }, "h_eq sn"},
        {[](tn *n) { n->hint_ebmap = 6, n->sn_ebmap = 2; }, hinted + "sn sn+h"},
        {[](tn *n) { n->hint_ebmap = 6, n->sn_ebmap = 7; }, hinted + "sn sn+h inside"},
        {[](tn *n) { n->hint_ebmap = 6, n->sn_ebmap = 6; }, hinted + "sn sn+h inside sn=h"},
        {[](tn *n) { n->int_mask.low = n->hint_mask.low = 3; }, "h_eq"},
        {[](tn *n) { n->hint_mask.low = 3; }, ""},
        {[](tn *n) { n->hint_mask.low = 3, n->hint_state = 1; }, "h_neq"},
        {[](tn *n) { n->ext_mask.high = n->hint_mask.high = 3; }, "h_eq ext"},
        {[&](tn *n) { n->par_bl_larray = leaves(); }, "h_eq init_bl"},
        {[&](tn *n) { n->par_bl_larray = leaves(), n->hint_state = 1; }, "h_eq"},
        {[](tn *n) { n->tn_flags = TN_LEAF, n->hw_index = 1; }, "h_eq"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(&c - cases);
        hand_tree tree;
        c.change(tree.add_search(tree.root(), 0));
        EXPECT_EQ(reply_of(cmd_cntpfx), counted(c.moved));
    }
}

TEST(CntPfx, EndNodesCompareTheirLeavesWithTheirOwnMask) {
    hand_tree tree;
    tn *end = tree.add_end(tree.root(), 0);
    end->in_lfarray = tree.make_leaf_array(4);
    end->in_lfarray->la_leaves[0] = tree.make_leaf("10.0.0.0/8");
    end->in_lfarray->la_leaves[1] = tree.make_leaf("10.1.2.0/24");
    end->in_lfarray->la_leaves[3] = tree.make_leaf("0.0.0.0/0");
    end->hint_ebmap = 1;    // counts for nodes with children alone
    end->hint_mask = lengths({8, 24});
    EXPECT_EQ(reply_of(cmd_cntpfx), counted("total:4 end:4 with end_eq"));
    EXPECT_EQ(leaf_mask, lengths({8, 24}));
    end->hint_mask = lengths({8, 24, 25});
    EXPECT_EQ(named(reply_of(cmd_cntpfx), {{end, "END"}}),
              "tn END with hint_mask != int+ext\n" + counted("total:4 end:4 with end_neq"));
    end->in_lfarray = nullptr;
    EXPECT_EQ(reply_of(cmd_cntpfx), counted("without"));
    end->par_bl_larray = tree.make_leaf_array(1);
    end->hw_index = 1;    // in state INIT it counts for search nodes alone
    EXPECT_EQ(reply_of(cmd_cntpfx), counted("without init_bl"));
    end->hint_state = HINT_END;
    EXPECT_EQ(reply_of(cmd_cntpfx), counted("without hwidx hwidx_e"));
}

TEST(CntPfx, InternalNodesMustLieInsideTheParentsMask) {
    hand_tree tree;
    tn *inode = tree.add_intern(tree.root());
    inode->in_lfarray = tree.make_leaf_array(1);
    inode->in_lfarray->la_leaves[0] = tree.make_leaf("10.0.0.0/8");
    tree.root()->hint_mask = lengths({8, 9});
    EXPECT_EQ(reply_of(cmd_cntpfx), counted("total int in"));
    tree.root()->hint_mask = lengths({9});
    EXPECT_EQ(named(reply_of(cmd_cntpfx), {{inode, "INODE"}}),
              "tn INODE inode pfx not in parent hint_mask\n" + counted("total int out"));
    EXPECT_EQ(named(reply_of(cmd_cntpfx, number(inode)), {{inode, "INODE"}}),
              "walk tn tree start from INODE\n" + counted("total int"))
        << "no parent is known";
    inode->in_lfarray = nullptr;
    EXPECT_EQ(reply_of(cmd_cntpfx), counted(""));
}

TEST(CntPfx, SixWarningsOfBothKindsAtMostWhileTheCountersGoOn) {
    hand_tree tree;
    tn *inode = tree.add_intern(tree.root());
    inode->in_lfarray = tree.make_leaf_array(1);
    inode->in_lfarray->la_leaves[0] = tree.make_leaf("10.0.0.0/8");
    for (uint32_t chunk = 0; chunk < 8; ++chunk) {
        tree.add_end(tree.root(), chunk)->hint_mask = lengths({1});
    }
    const auto pieces = pieces_of(cmd_cntpfx);
    EXPECT_EQ(pieces.size(), 6U + 9U);
    EXPECT_EQ(pieces[0], format("tn %p inode pfx not in parent hint_mask\n",
                                static_cast<const void *>(inode)));
    EXPECT_EQ(pieces[5].substr(pieces[5].find(" with")), " with hint_mask != int+ext\n");
    EXPECT_EQ(join(pieces, 6), counted("total int out with:8 end_neq:8"));
}

TEST(CntPfx, StartDecidesWhatIsCounted) {
    hand_tree tree;
    tn *end = tree.root(0, TN_END);
    end->hw_index = end->hint_state = 3;
    tree.add_search(tree.root(1), 0);
    EXPECT_EQ(reply_of(cmd_cntpfx), counted("h_eq"));    // roots do not count
    EXPECT_EQ(named(reply_of(cmd_cntpfx, number(end)), {{end, "START"}}),
              "walk tn tree start from START\n" + counted(""));
    EXPECT_EQ(reply_of(cmd_cntpfx, 0x7ffffffff000), "address 0x7ffffffff000 is not readable\n");
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(reply_of(cmd_cntpfx), "NULL tbm_handle\n" + counted(""));
}
