// What every checker does with a tree full of faults, a tree without end and no tree at all.
#include "checks/commands.h"
#include "phu/commands.h"
#include "tbm/access.h"
#include "tests/checks/fake_lookup_library.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

/// 25 END nodes with a wrong value of every kind and a leaf that no lookup finds; 12 SEARCH nodes
/// that refer to a strange leaf array.
void plant_faults(hand_tree &tree) {
    leaf_array *stranger = tree.make_leaf_array(1);
    leaf_array *lost = tree.make_leaf_array(1);
    lost->la_leaves[0] = tree.make_leaf("11.0.0.0/8");
    for (uint32_t chunk = 0; chunk < 25; ++chunk) {
        tn *node = tree.add_end(tree.root(), 2 * chunk);
        node->bmsf = 1;
        node->hint_state = HINT_END;
        node->int_mask = lengths({1});
        node->par_bl_larray = stranger;
        node->in_lfarray = lost;
    }
    for (uint32_t chunk = 0; chunk < 12; ++chunk) {
        tree.add_search(tree.root(), 2 * chunk + 1)->par_bl_larray = stranger;
    }
}

const command_function tree_checks[] = {cmd_ckbmsf, cmd_ckhmask, cmd_ckparbl, cmd_cklkup,
                                        cmd_cklkuphw};

}    // namespace

TEST(CheckLimits, LinesEndAtTheirLimitCountersGoOn) {
    hand_tree tree;
    fresh_fake_library();
    plant_faults(tree);
    const struct {
        command_function command;
        const char *text;
        size_t count;
    } cases[] = {
        {cmd_ckbmsf, "bmsf mismatch tn ", 25},
        {cmd_ckbmsf, " child ", 6},
        {cmd_ckbmsf, "parent_tn (nil)\n", 19},
        {cmd_ckbmsf, "MISMATCH:             25\n", 1},
        {cmd_ckhmask, "mismatch: bmsf ", 4},
        {cmd_ckhmask, "mismatch: hint_mask ", 3},
        {cmd_ckhmask, "child MISMATCH: 25\n  int+ext+ebmap match: 0 \n", 1},
        {cmd_ckhmask, "ebmap MISMATCH: 25\n", 1},
        {cmd_ckparbl, "par bl invalid tn ", 10},
        {cmd_ckparbl, "par bl invalid for tn ", 10},
        {cmd_ckparbl, "INVALID par bl:          37\n  INVALID end par bl:      25\n", 1},
        {cmd_cklkup, "lookup missed: ", 20},
        {cmd_cklkup, "no match:      25\n", 1},
        {cmd_cklkuphw, "lookup missed: ", 25},
    };
    for (int repeat = 0; repeat < 2; ++repeat) {
        for (const auto &c : cases) {
            EXPECT_EQ(occurrences(reply_of(c.command), c.text), c.count) << c.text;
        }
    }
}

TEST(CheckLimits, CycleStopsTheWalkWithOneLine) {
    hand_tree tree;
    fresh_fake_library();
    tn *node = tree.add_search(tree.root(), 1);
    tree.add_search(node, 1);
    tree.add_search(node, 2);
    node->sn_charray->ta_nodes[0] = node->sn_charray->ta_nodes[1] = node;
    node->hint_state = HINT_SEARCH;
    node->hint_ebmap = ~uint64_t{0};
    const std::string line =
        format("tree deeper than 64 levels at tn %p, walk stopped\n", static_cast<void *>(node));
    for (const command_function command : tree_checks) {
        const std::string reply = reply_of(command);
        EXPECT_EQ(occurrences(reply, line), 1U) << reply;
        EXPECT_EQ(occurrences(reply, "walk stopped"), 1U) << reply;
    }
}

TEST(CheckLimits, WithoutATreeEveryCheckSaysSo) {
    hand_tree tree;
    fresh_fake_library();
    tree.phu()->tbm_handle = nullptr;
    for (const command_function command : tree_checks) {
        EXPECT_EQ(reply_of(command).substr(0, 16), "NULL tbm_handle\n");
    }
    EXPECT_EQ(occurrences(reply_of(cmd_ckall), "NULL tbm_handle\n"), 5U);
}

TEST(CheckLimits, CheckAllRunsFiveChecksFromTheRoots) {
    hand_tree tree;
    fresh_fake_library();
    plant_faults(tree);
    for (const uint64_t flag : {0, 1}) {
        EXPECT_EQ(reply_of(cmd_ckall, flag, flag),
                  reply_of(cmd_ckbmsf) + "\n" + reply_of(cmd_ckbank, flag) + "\n" +
                      reply_of(cmd_ckhmask) + reply_of(cmd_ckparbl) + "\n" +
                      reply_of(cmd_cklkup, 0, flag));
    }
}
