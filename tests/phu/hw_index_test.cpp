// hwidxr, hwidxwalk, hwdis and the reverse lookup.
#include <functional>

#include "phu/commands.h"
#include "shm/contexts.h"
#include "tbm/hw_index_owner.h"
#include "tbm/tree_walk.h"
#include "tests/phu/fake_hardware.h"

namespace {

using hwidxwalk_test = hardware_test;
using hwdis_test = hardware_test;

const std::string end_text = "HINT EN:  0x0000000000000000 0000000000000001  ";

/// A level-2 search node (bank 20) with a match-end node and five children in bank 3, its parent
/// in bank 1, and the tree nodes of all but one of the children.
class hwidxr_test : public hardware_test {
protected:
    hwidxr_test() {
        assign(1, 1);
        assign(2, 1);
        assign(20, 2);
        assign(3, 3);
        tn *top = tree.root(7);
        parent = hint(tree.add_search(top, 0), HINT_SEARCH,
                      put(2, 9, search_image(2, 0xa000 + 4, 0, 1)));
        put(1, 3, end_image(0, 1));
        put(2, 8, search_image(3, 0xa000 + 3));    // ends right before the node
        node = hint(tree.add_search(parent, 1), HINT_SEARCH,
                    put(20, 5, search_image(0x1f, 3 << 11 | 100, 0, 1)));
        for (uint32_t i = 0; i < 6; ++i) {
            const uint32_t hw_index = put(3, 100 + i, end_image(0, 1));
            if (i != 2) {
                owners[i] = hint(tree.add_end(node, i), HINT_END, hw_index);
            }
        }
    }

    static std::string show(uint64_t hw_index, uint64_t option) {
        return reply_of(cmd_hwidxr, hw_index, option);
    }

    [[nodiscard]] std::string node_line() const {
        return "HINT SN   ebitmap: 0x000000000000001f, ptr:0x1864, bmsf:0, me:1  " +
               label(node, 0x02140005) + "\n";
    }
    [[nodiscard]] std::string parent_line() const {
        return "Parent: HINT SN   ebitmap: 0x0000000000000002, ptr:0xa004, bmsf:0, me:1  " +
               label(parent, 0x01020009) + "\n";
    }
    [[nodiscard]] std::string children_lines(uint32_t level = 3) const {
        std::string lines = "  6 children nodes\n";
        for (uint32_t i = 0; i < 6; ++i) {
            lines += "    " + end_text + label(owners[i], level << 24 | (0x30064 + i)) + "\n";
        }
        return lines;
    }

    tn *parent, *node, *owners[6] = {};
};

TEST_F(hwidxr_test, OptionsChooseParentAndChildren) {
    struct {
        int64_t option;
        bool with_parent, with_children;
    } const rows[] = {{0, false, false}, {-9, false, false}, {-19, false, false}, {1, false, true},
                      {2, false, false}, {10, true, false},  {11, true, true},    {12, true, false},
                      {19, true, false}, {20, false, false}, {21, false, true}};
    for (const auto &row : rows) {
        EXPECT_EQ(show(0x02140005, static_cast<uint64_t>(row.option)),
                  node_line() + (row.with_parent ? parent_line() : "") +
                      (row.with_children ? children_lines() : ""))
            << row.option;
    }
}

TEST_F(hwidxr_test, ChildrenComeInPiecesAndFewerThanFiveUncounted) {
    const auto pieces = pieces_of(cmd_hwidxr, 0x02140005, 1);
    ASSERT_EQ(pieces.size(), 14U);
    EXPECT_EQ(pieces[2], "    ");
    put(20, 5, search_image(0xf, 3 << 11 | 100));
    EXPECT_EQ(pieces_of(cmd_hwidxr, 0x02140005, 1).size(), 9U);
    put(20, 5, search_image(0, 3 << 11 | 100));
    EXPECT_EQ(pieces_of(cmd_hwidxr, 0x02140005, 1).size(), 1U);
}

TEST_F(hwidxr_test, ChildLevelIsTheBanksLevelPlusOneModulo256) {
    tree.phu()->bank[20].stride_level = 255;
    EXPECT_EQ(show(0x02140005, 11), node_line() + children_lines(0));
}

TEST_F(hwidxr_test, ParentSearchKeepsToTheLevelsBanksInUse) {
    const auto parent_found = [&] { return show(0x02140005, 10) != node_line(); };
    const std::function<void(phu_context &)> faults[] = {
        [](phu_context &phu) { phu.stride[1].bank_used = 0; },
        [](phu_context &phu) { phu.stride[1].bank_bitmap = 1 << 1 | uint64_t{1} << 41; },
        [](phu_context &phu) { phu.bank[2].bitmap_size = 0; },
        [](phu_context &phu) { phu.bank[2].node_bitmap[0] &= ~uint64_t{1 << 9}; },
        [](phu_context &phu) { phu.bank[20].stride_level = 0; },
    };
    const phu_context healthy = *tree.phu();
    for (const auto &fault : faults) {
        SCOPED_TRACE(&fault - faults);
        EXPECT_TRUE(parent_found());
        fault(*tree.phu());
        EXPECT_FALSE(parent_found());
        *tree.phu() = healthy;
    }
}

TEST_F(hwidxr_test, ParentInTheRootBankIsNeverFound) {
    put(41, 7, search_image(1, 1 << 11 | 3));
    tree.phu()->stride[0].bank_bitmap = uint64_t{1} << 41;
    tree.phu()->stride[0].bank_used = 1;
    EXPECT_FALSE(contains(show(0x01010003, 10), "Parent"));
    assign(40, 0);
    put(40, 4095, skip_image(1, 1 << 11 | 3, 0, 0));
    EXPECT_TRUE(contains(show(0x01010003, 10), "Parent: HINT SKIP"));
}

TEST_F(hwidxr_test, FailedReadsEndTheirStep) {
    chip.plant_read_fault(0x020008, true);
    EXPECT_EQ(show(0x02140005, 11),
              node_line() +
                  "failed to read hwindex from npu 0, bank_id 2 node_id 8 rc: 0x33\n"
                  "failed to read sn/en node on for bank 2 node 8\n" +
                  children_lines());
    chip.plant_read_fault(0x030064, true);
    EXPECT_EQ(show(0x02140005, 1), node_line() +
                                       "  6 children nodes\nfailed to read hwindex from "
                                       "npu 0, bank_id 3 node_id 100 rc: 0x33\n");
    chip.plant_read_fault(0x140005, true);
    EXPECT_EQ(show(0x02140005, 11),
              "failed to read hwindex from npu 0, bank_id 20 node_id 5 rc: 0x33\n");
    EXPECT_EQ(show(0xff00000002ff0005, 11), "invalid bank id 255\n");
    tree.phu()->tbm_handle = nullptr;    // said once per label
    EXPECT_EQ(show(0x01010003, 0),
              "NULL tbm_handle\n" + end_text + label(nullptr, 0x01010003) + "\n");
}

TEST_F(hwidxr_test, ReverseLookupTakesTheFirstInPreOrderAndNoInternalNode) {
    hint(tree.add_intern(parent), HINT_END, 0x03030064);
    EXPECT_EQ(phu_find_tn_by_hw_index(0xff030064), owners[0]);
    tn *earlier = hint(tree.root(3, TN_END), HINT_END, 0x00030064);
    tn *found[65];
    tn *own = nullptr;
    const hw_index_range wanted[] = {{0x030064, 6, found}, {parent->hw_index, 1, &own}};
    phu_find_owners(wanted);
    EXPECT_EQ(own, parent);
    EXPECT_EQ(found[0], earlier);
    EXPECT_EQ(found[2], nullptr);
    EXPECT_EQ(found[5], owners[5]);
    EXPECT_EQ(phu_find_tn_by_hw_index(0x07000000), nullptr) << "no index is not bank 0 node 0";
    node->sn_charray->ta_nodes[0] = parent;    // a cycle
    EXPECT_TRUE(contains(captured([&] { phu_find_owners(wanted); }), "walk stopped"));
}

std::string walk_results(int indexes, int sn, int skip, int en, int stray_sn, int stray_en,
                         int errors) {
    return format(
        "  hw index count: %d\n         sn node: %d\n       skip node: %d\n"
        "         en node: %d\nnon zero sn node: %d\nnon zero en node: %d\n"
        "      read error: %d\n",
        indexes, sn, skip, en, stray_sn, stray_en, errors);
}

TEST_F(hwidxwalk_test, CountsByTypeAndDumpsTheImageFromByte16Down) {
    hint(tree.root(1, TN_END), HINT_END, put(41, 1, end_image(0, 1)));    // roots are SEARCH nodes
    tn *root =
        hint(tree.root(0), HINT_SEARCH, put(41, 0, search_image(0x0102030405060708, 0x9fff)));
    tn *skip = hint(tree.add_search(root, 1), HINT_SEARCH, put(1, 1, skip_image(0, 0, 0, 0)));
    hint(tree.add_end(skip, 1), HINT_END, put(1, 2, phu_node{}));
    const tn *broken = hint(tree.add_end(skip, 2), HINT_END, 0x05010003);
    chip.plant_read_fault(0x05010003, true);
    hint(tree.add_end(skip, 3), HINT_INIT, 0x05010003);
    const std::string error =
        "failed to read hwindex from npu 0, bank_id 1 node_id 3 rc: 0x33\n"
        "failed to read hw index 0x5010003 tn " +
        at(broken) + "\n";
    EXPECT_EQ(reply_of(cmd_hwidxwalk, 2), error + walk_results(5, 1, 1, 0, 0, 0, 1));
    EXPECT_EQ(reply_of(cmd_hwidxwalk, 0, number(broken)),
              error + walk_results(1, 0, 0, 0, 0, 0, 1));
    EXPECT_EQ(reply_of(cmd_hwidxwalk, 11).find("0x00290000 f90000000000009fff0102030405060708\n"),
              0U);
    EXPECT_EQ(pieces_of(cmd_hwidxwalk, 11).size(), 3U * 19 + 2 + 7);
}

TEST_F(hwidxwalk_test, CopiesWithoutHardwareNodeAreCountedAndReported) {
    tn *root = tree.root(0);
    root->hint_sn_flags = 1;
    std::string lines = "hw index is zero , but phu_sn not zero, tn " + at(root) + "\n";
    for (uint32_t i = 0; i < 12; ++i) {
        tn *node = tree.add_end(root, i);
        node->hint_en_mask[15] = 1;
        if (i < 10) {
            lines += "hw index is zero , but phu_en not zero, tn " + at(node) + "\n";
        }
    }
    EXPECT_EQ(reply_of(cmd_hwidxwalk, 1), lines + walk_results(0, 0, 0, 0, 1, 12, 0));
    EXPECT_EQ(reply_of(cmd_hwidxwalk), walk_results(0, 0, 0, 0, 1, 12, 0));
    EXPECT_EQ(reply_of(cmd_hwidxwalk, 0, 64), "invalid tn addr: 0x40\n");
    EXPECT_EQ(reply_of(cmd_hwidxwalk, 0, 0x7ffffffff000),
              "address 0x7ffffffff000 is not readable\n");
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(reply_of(cmd_hwidxwalk), "NULL tbm_handle\n" + walk_results(0, 0, 0, 0, 0, 0, 0));
}

TEST_F(hwdis_test, RowsUpToTheHighestAndFullMasksInRowZero) {
    tn *root = hint(tree.root(0), HINT_SEARCH, put(41, 0, search_image(0, 0)));
    hint(tree.add_intern(root), HINT_END, 0x00290000);
    hint(tree.add_end(root, 0), HINT_END, put(1, 1, end_image(1, 1)));
    hint(tree.add_end(root, 1), 7, put(1, 2, end_image(~uint64_t{0}, ~uint64_t{0})));
    hint(tree.add_end(root, 2), HINT_SEARCH, put(1, 3, end_image(0, 3)));
    hint(tree.add_end(root, 3), HINT_SEARCH, put(1, 4, skip_image(0, 0, 0, 0)));
    const tn *broken = hint(tree.add_end(root, 4), HINT_SEARCH, 0x01010005);
    chip.plant_read_fault(0x01010005, true);
    const tn *init = hint(tree.add_end(root, 5), HINT_INIT, 0x00290000);
    EXPECT_EQ(named(reply_of(cmd_hwdis), {{broken, "BROKEN"}, {init, "INIT"}}),
              "failed to read hwindex from npu 0, bank_id 1 node_id 5 rc: 0x33\n"
              "failed to read tn BROKEN hwindex 0x1010005\n"
              "skip hint state INIT for tn INIT\n"
              "hw en node mask count distribution\n"
              " index     sum   INIT    SEARCH SCH_END END\n"
              "    0        1      0       0      0      1\n"
              "    1        0      0       0      0      0\n"
              "    2        2      0       1      0      1\n"
              "total PHU    end nodes: 3\ntotal PHU   skip nodes: 1\n"
              "total PHU search nodes: 1\n");
    hint(root, HINT_INIT, 0);
    root->sn_charray->ta_nnodes = 0;
    EXPECT_TRUE(contains(reply_of(cmd_hwdis), "SCH_END END\ntotal")) << "no rows";
}

}    // namespace
