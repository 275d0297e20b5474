#include <gtest/gtest.h>

#include "tbm/access.h"
#include "tbm/commands.h"
#include "tbm/count_prefixes.h"
#include "tbm/leaf_owner.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

std::string showla(const void *array, uint64_t force = 0) {
    return captured([&] { cmd_showla(number(array), force, 0); });
}

std::string la_line(const leaf_array *array, const tn *owner) {
    return format("la %p ", static_cast<const void *>(array)) +
           (owner == nullptr ? "tn (nil)\n" : format("tn %p\n", static_cast<const void *>(owner)));
}

mask128 mask_of(std::initializer_list<uint32_t> lengths) {
    mask128 mask{};
    for (const uint32_t length : lengths) {
        mask_set_from_left(mask, length);
    }
    return mask;
}

}    // namespace

TEST(ShowLa, OwnerIsTheSearchNodeOrTheNodeItself) {
    hand_tree tree;
    tn *node = tree.search_at("10.0.0.0/8", 24);
    tree.add_leaf(node, "10.0.0.0/8");
    tn *end = tree.end_at("10.1.0.0/16", 30);
    tree.add_leaf(end, "10.1.0.0/16");
    leaf_array *inside = tn_inode(node)->in_lfarray;
    EXPECT_EQ(showla(inside), la_line(inside, node) + format("la_nnodes 1 (la %p)\n  10.0.0.0/8\n",
                                                             static_cast<void *>(inside)));
    EXPECT_EQ(la_owner_find(end->in_lfarray), end);
    end->tn_flags &= static_cast<uint16_t>(~tn_inode_flag);
    EXPECT_EQ(la_owner_find(end->in_lfarray), nullptr);
    end->tn_flags = TN_INTERN | tn_inode_flag;
    EXPECT_EQ(la_owner_find(end->in_lfarray), end);
    end->tn_flags = TN_LEAF | tn_inode_flag;
    EXPECT_EQ(la_owner_find(end->in_lfarray), nullptr);
    EXPECT_EQ(la_owner_find(nullptr), nullptr);
}

TEST(ShowLa, ArrayWithoutOwnerIsListedOnlyByForce) {
    hand_tree tree;
    tree.root();
    leaf_array *array = tree.make_leaf_array(3);
    array->la_leaves[0] = tree.make_leaf("10.1.2.0/24");
    array->la_leaves[2] = reinterpret_cast<leaf *>(0x7ffffffff000);
    EXPECT_EQ(showla(array), la_line(array, nullptr) +
                                 "cant find leaf array parent tn, skip detailed leaf info\n");
    EXPECT_EQ(showla(array, 1),
              la_line(array, nullptr) +
                  format("la_nnodes 3 (la %p)\n", static_cast<void *>(array)) +
                  "  10.1.2.0/24\n  (null)\naddress 0x7ffffffff000 is not readable\n");
    EXPECT_EQ(showla(reinterpret_cast<void *>(0x7ffffffff000), 1),
              "address 0x7ffffffff000 is not readable\n");
    const tree_array *low = tree.root_array();
    EXPECT_EQ(showla(low, 1),
              format("invalide leaf array addr:%p\n", static_cast<const void *>(low)));
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(showla(array), "NULL tbm_handle\n");
}

namespace {

/// The printed numbers of cntpfx by label, in the order of the lines.
struct counters {
    int total, internal_leaves, end_leaves, init_hw_index, hbmap, in_sn_ebmap;
    int hwidx, ebmap, idx_ebmap;
    int ebmap_s, ebmap_se, ebmap_e;
    int hwidx_s, hwidx_e, hwidx_se;
    int h_ebmap, sn_ebmap, sn_and_h, sn_eq_h, heb_ext;
    int h_eq, h_neq, ext;
    int inode_match, inode_not;
    int with_pfx, without_pfx, end_eq, end_neq;
    int init_par_bl;

    bool operator==(const counters &) const = default;
};

std::string lines(const counters &c) {
    return format(
               "Prefix: %d (internal count %d end count %d), INIT hw index %d, hbmap %d in "
               "sn_ebmap %d\nhwidx %d ebmap %d idx+ebmap %d\nebmap s %d se%d e %d\n"
               "hwidx search %d end %d search_end %d\n",
               c.total, c.internal_leaves, c.end_leaves, c.init_hw_index, c.hbmap, c.in_sn_ebmap,
               c.hwidx, c.ebmap, c.idx_ebmap, c.ebmap_s, c.ebmap_se, c.ebmap_e, c.hwidx_s,
               c.hwidx_e, c.hwidx_se) +
           format(
               "h_ebmap %d sn_ebmap %d sn and h ebmap %d sn eq h ebmap %d heb and ext_mask %d\n"
               "h_eq_int_n_ext %d h_neq_int_n_ext %d ext %d\n"
               "internal node prefix mask match parent hint_mask %d not match %d\n"
               "end node with pfx %d, w/o pfx %d end node pfx eq hmask %d neq %d\n"
               "%d tn in hint state INIT but having par bl larray pointer set\n",
               c.h_ebmap, c.sn_ebmap, c.sn_and_h, c.sn_eq_h, c.heb_ext, c.h_eq, c.h_neq, c.ext,
               c.inode_match, c.inode_not, c.with_pfx, c.without_pfx, c.end_eq, c.end_neq,
               c.init_par_bl);
}

std::string cntpfx(const tn *start = nullptr) {
    return captured([&] { cmd_cntpfx(number(start), 0, 0); });
}

}    // namespace

/// One SEARCH node below the root; each change moves its own counters from the base case.
TEST(CntPfx, EverySearchNodeCounterHasItsRule) {
    const struct {
        void (*change)(tn *node);
        void (*expect)(counters &c);
    } cases[] = {
        {[](tn *) {}, [](counters &) {}},
        {[](tn *n) { n->hw_index = 1; }, [](counters &c) { c.init_hw_index = 1; }},
        {[](tn *n) { n->hint_state = 1, n->hw_index = 1; },
         [](counters &c) { c.hwidx = c.hwidx_s = 1; }},
        {[](tn *n) { n->hint_state = 2, n->hw_index = 1; },
         [](counters &c) { c.hwidx = c.hwidx_se = 1; }},
        {[](tn *n) { n->hint_state = 3, n->hw_index = 1; },
         [](counters &c) { c.hwidx = c.hwidx_e = 1; }},
        {[](tn *n) { n->hint_state = 4, n->hw_index = 1; }, [](counters &c) { c.hwidx = 1; }},
        {[](tn *n) { n->hint_state = 3; }, [](counters &) {}},
        {[](tn *n) { n->hint_ebmap = 6; },
         [](counters &c) { c.hbmap = c.ebmap = c.h_ebmap = 1, c.h_eq = 0; }},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 1; },
         [](counters &c) { c.hbmap = c.ebmap = c.h_ebmap = c.ebmap_s = 1, c.h_eq = 0; }},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 2; },
         [](counters &c) { c.hbmap = c.ebmap = c.h_ebmap = c.ebmap_se = 1, c.h_eq = 0; }},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 3; },
         [](counters &c) { c.hbmap = c.ebmap = c.h_ebmap = c.ebmap_e = 1, c.h_eq = 0; }},
        {[](tn *n) { n->hint_ebmap = 6, n->hint_state = 4; },
         [](counters &c) { c.hbmap = c.ebmap = c.h_ebmap = 1, c.h_eq = 0; }},
        {[](tn *n) { n->hint_ebmap = 6, n->hw_index = 1, n->hint_state = 5; },
         [](counters &c) {
             c.hbmap = c.ebmap = c.h_ebmap = c.hwidx = c.idx_ebmap = 1, c.h_eq = 0;
         }},
        {[](tn *n) { n->hint_ebmap = 6, n->ext_mask.low = 1; },
         [](counters &c) { c.hbmap = c.ebmap = c.h_ebmap = c.heb_ext = 1, c.h_eq = 0; }},
        {[](tn *n) { n->sn_ebmap = 1; }, [](counters &c) { c.sn_ebmap = 1; }},
        {[](tn *n) { n->sn_ebmap = 2, n->hint_ebmap = 6; },
         [](counters &c) {
             c.hbmap = c.ebmap = c.h_ebmap = c.sn_ebmap = c.sn_and_h = 1, c.h_eq = 0;
         }},
        {[](tn *n) { n->sn_ebmap = 7, n->hint_ebmap = 6; },
         [](counters &c) {
             c.hbmap = c.ebmap = c.h_ebmap = c.sn_ebmap = c.sn_and_h = c.in_sn_ebmap = 1,
             c.h_eq = 0;
         }},
        {[](tn *n) { n->sn_ebmap = 6, n->hint_ebmap = 6; },
         [](counters &c) {
             c.hbmap = c.ebmap = c.h_ebmap = c.sn_ebmap = c.sn_and_h = c.in_sn_ebmap = c.sn_eq_h =
                 1;
             c.h_eq = 0;
         }},
        {[](tn *n) { n->int_mask.low = n->hint_mask.low = 3; }, [](counters &) {}},
        {[](tn *n) { n->hint_mask.low = 3; }, [](counters &c) { c.h_eq = 0; }},
        {[](tn *n) { n->hint_mask.low = 3, n->hint_state = 1; },
         [](counters &c) { c.h_eq = 0, c.h_neq = 1; }},
        {[](tn *n) { n->ext_mask.high = n->hint_mask.high = 3; }, [](counters &c) { c.ext = 1; }},
        {[](tn *n) { n->par_bl_larray = reinterpret_cast<leaf_array *>(16); },
         [](counters &c) { c.init_par_bl = 1; }},
        {[](tn *n) { n->par_bl_larray = reinterpret_cast<leaf_array *>(16), n->hint_state = 1; },
         [](counters &) {}},
        {[](tn *n) { n->tn_flags = TN_LEAF, n->hw_index = 1; }, [](counters &) {}},
    };
    int number = 0;
    for (const auto &c : cases) {
        SCOPED_TRACE(number++);
        hand_tree tree;
        c.change(tree.add_search(tree.root(), 0));
        counters expected{};
        expected.h_eq = 1;
        c.expect(expected);
        EXPECT_EQ(cntpfx(), lines(expected));
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
    end->hint_mask = mask_of({8, 24});
    counters expected{};
    expected.total = expected.end_leaves = 4;
    expected.with_pfx = expected.end_eq = 1;
    EXPECT_EQ(cntpfx(), lines(expected));
    EXPECT_EQ(leaf_mask, mask_of({8, 24}));
    end->hint_mask = mask_of({8, 24, 25});
    expected.end_eq = 0;
    expected.end_neq = 1;
    EXPECT_EQ(cntpfx(), format("tn %p with hint_mask != int+ext\n", static_cast<void *>(end)) +
                            lines(expected));
    end->in_lfarray = nullptr;
    expected = {};
    expected.without_pfx = 1;
    EXPECT_EQ(cntpfx(), lines(expected));
}

TEST(CntPfx, InternalNodesMustLieInsideTheParentsMask) {
    hand_tree tree;
    tn *inode = tree.add_intern(tree.root());
    inode->in_lfarray = tree.make_leaf_array(1);
    inode->in_lfarray->la_leaves[0] = tree.make_leaf("10.0.0.0/8");
    tree.root()->hint_mask = mask_of({8, 9});
    counters expected{};
    expected.total = expected.internal_leaves = 1;
    expected.inode_match = 1;
    EXPECT_EQ(cntpfx(), lines(expected));
    tree.root()->hint_mask = mask_of({9});
    expected.inode_match = 0;
    expected.inode_not = 1;
    EXPECT_EQ(cntpfx(),
              format("tn %p inode pfx not in parent hint_mask\n", static_cast<void *>(inode)) +
                  lines(expected));
    expected.inode_not = 0;    // a start at the internal node knows no parent
    EXPECT_EQ(cntpfx(inode),
              format("walk tn tree start from %p\n", static_cast<void *>(inode)) + lines(expected));
    inode->in_lfarray = nullptr;
    EXPECT_EQ(cntpfx(), lines({}));
}

TEST(CntPfx, SixWarningsAtMostWhileTheCountersGoOn) {
    hand_tree tree;
    for (uint32_t chunk = 0; chunk < 8; ++chunk) {
        tree.add_end(tree.root(), chunk)->hint_mask = mask_of({1});
    }
    const auto pieces = captured_pieces([] { cmd_cntpfx(0, 0, 0); });
    EXPECT_EQ(pieces.size(), 6U + 9U);
    EXPECT_EQ(pieces[6].find("Prefix: 0"), 0U);
    EXPECT_EQ(pieces[6 + 7], "end node with pfx 8, w/o pfx 0 end node pfx eq hmask 0 neq 8\n");
}

TEST(CntPfx, StartDecidesWhatIsCounted) {
    hand_tree tree;
    tn *end = tree.root(0, TN_END);
    end->hw_index = end->hint_state = 3;
    counters expected{};
    EXPECT_EQ(cntpfx(), lines(expected));
    EXPECT_EQ(cntpfx(end),
              format("walk tn tree start from %p\n", static_cast<void *>(end)) + lines(expected));
    const tn *node = tree.add_search(tree.root(1), 0);
    expected.h_eq = 1;
    EXPECT_EQ(
        cntpfx(node),
        format("walk tn tree start from %p\n", static_cast<const void *>(node)) + lines(expected));
    EXPECT_EQ(captured([] { cmd_cntpfx(0x7ffffffff000, 0, 0); }),
              "address 0x7ffffffff000 is not readable\n");
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(cntpfx(), "NULL tbm_handle\n" + lines({}));
}
