#include "checks/bmsf_check.h"

#include "checks/commands.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/page_end.h"
#include "tests/support/text.h"

namespace {

std::string summary(int total, int non_zero, int zero, int mismatch) {
    return format(
        "\nResults of checking bmsf:\n  total tn nodes:       %7d\n  bmsf match non zero:  %7d\n"
        "  bmsf match  zero:     %7d\n  bmsf MISMATCH:        %7d\n",
        total, non_zero, zero, mismatch);
}

}    // namespace

TEST(BmsfCheck, EveryCounterHasItsNode) {
    hand_tree tree;
    tree.root()->bmsf = 9;    // a root is not checked
    tn *vrf_node = tree.search_at("0.0.0.0/0", 18);
    tree.add_leaf(vrf_node, "0.0.0.0/0");
    tree.add_leaf(vrf_node, "8.0.0.0/5");
    tn *covered = tree.search_at("10.0.0.0/6", 24);
    covered->bmsf = 5;
    tn *by_default = tree.end_at("64.0.0.0/6", 24);    // expects the default prefix: 0 agrees
    tn *inherits = tree.search_at("10.1.0.0/16", 30);
    inherits->bmsf = 5;
    EXPECT_EQ(reply_of(cmd_ckbmsf), summary(4, 3, 1, 0));
    inherits->bmsf = 0;    // no hint node yet
    EXPECT_EQ(reply_of(cmd_ckbmsf), summary(4, 2, 2, 0));
    inherits->hint_state = HINT_SEARCH;
    by_default->bmsf = 6;
    by_default->hint_state = HINT_END;
    EXPECT_EQ(reply_of(cmd_ckbmsf),
              format("bmsf mismatch tn %p bmsf 5 hint bmsf 0 parent_tn %p child 0 of 1, pos 32\n"
                     "bmsf mismatch tn %p bmsf 0 hint bmsf 6 parent_tn %p child 2 of 3, pos 16\n",
                     static_cast<void *>(inherits), static_cast<void *>(covered),
                     static_cast<void *>(by_default), static_cast<void *>(vrf_node)) +
                  summary(4, 1, 1, 2));
    tree.add_intern(covered);    // an internal node without an answer hands nothing down
    EXPECT_NE(reply_of(cmd_ckbmsf).find(summary(4, 1, 2, 1)), std::string::npos);
    covered->sn_charray->ta_nodes[0] = nullptr;    // a flag without node: as if there were none
    EXPECT_NE(reply_of(cmd_ckbmsf).find(summary(4, 1, 1, 2)), std::string::npos);
}

TEST(BmsfCheck, ReadsNoSlotBehindTheLast) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 1);
    tn **const slot = before_page_end<tn *>(1);
    *slot = tree.add_end(node, 2);
    node->sn_charray->ta_nodes = slot;
    EXPECT_EQ(reply_of(cmd_ckbmsf), summary(2, 0, 2, 0));
}
