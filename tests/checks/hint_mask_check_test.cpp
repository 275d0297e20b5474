#include "checks/hint_mask_check.h"

#include <gtest/gtest.h>

#include <string>

#include "checks/commands.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

mask128 lengths(std::initializer_list<uint32_t> values) {
    mask128 mask{};
    for (const uint32_t value : values) {
        mask_set_from_left(mask, value);
    }
    return mask;
}

std::string run(const tn *start = nullptr) {
    return captured([&] { cmd_ckhmask(number(start), 0, 0); });
}

struct counts {
    int child_match = 0, child_mismatch = 0, ebmap_match = 0, ebmap_mismatch = 0;
    int parent_match = 0, parent_mismatch = 0, not_in_hint = 0;
};

std::string summary(const counts &c) {
    return format(
        "Results of checking hint mask:\n  inode+child match: %d\n  inode+child MISMATCH: %d\n"
        "  int+ext+ebmap match: %d \n  int+ext+ebmap MISMATCH: %d\n"
        "  inode & parent int mask match: %d \n  inode & parent int mask MISMATCH: %d\n"
        "  inode pfx not in hint_mask: %d\n",
        c.child_match, c.child_mismatch, c.ebmap_match, c.ebmap_mismatch, c.parent_match,
        c.parent_mismatch, c.not_in_hint);
}

/// top (SEARCH, /0 and /5 leaves) over hinted middle (SEARCH) over hinted low (END, /14) and plain
/// side (END, /16); every mask is right.
struct HintMaskCheck : testing::Test {
    hand_tree tree;
    tn *top = tree.search_at("0.0.0.0/0", 18);
    tn *middle = tree.search_at("8.0.0.0/6", 24);
    tn *low = tree.end_at("8.0.0.0/12", 30);
    tn *side = tree.end_at("8.64.0.0/12", 30);

    void SetUp() override {
        tree.add_leaf(top, "0.0.0.0/0");
        tree.add_leaf(top, "8.0.0.0/5");
        tree.add_leaf(low, "8.8.0.0/14");
        tree.add_leaf(side, "8.64.0.0/16");
        top->hint_state = HINT_SEARCH_END;
        top->int_mask = lengths({5});
        top->hint_mask = lengths({5, 14, 16});
        top->hint_ebmap = uint64_t{1} << 2;
        middle->hint_state = HINT_SEARCH_END;
        middle->ext_mask = lengths({16});
        middle->hint_mask = lengths({14, 16});
        middle->hint_ebmap = uint64_t{1} << 0;
        low->hint_state = HINT_END;
        low->int_mask = low->hint_mask = lengths({14});
        side->hint_mask = lengths({16});
    }
};

}    // namespace

TEST_F(HintMaskCheck, HealthyTreeIsSilent) {
    EXPECT_EQ(run(), summary({4, 0, 3, 0, 1, 0, 0}));
}

TEST_F(HintMaskCheck, PlantedFaultsMoveTheirCounters) {
    const mask128 wrong = lengths({7});
    struct {
        const char *fault;
        mask128 *field;
        mask128 value;
        counts expected;
    } const cases[] = {
        {"hint mask of a hinted child", &low->hint_mask, wrong, {2, 2, 3, 0, 1, 0, 0}},
        {"hint mask of a plain child", &side->hint_mask, wrong, {2, 2, 2, 1, 1, 0, 0}},
        {"hint mask of the top node", &top->hint_mask, lengths({5, 14}), {3, 1, 3, 0, 1, 0, 0}},
        {"hint mask without an internal length",
         &top->hint_mask,
         lengths({14, 16}),
         {3, 1, 3, 0, 1, 0, 1}},
        {"internal mask of an end node", &low->int_mask, wrong, {4, 0, 2, 1, 1, 0, 0}},
        {"internal mask of a search node", &top->int_mask, lengths({5, 7}), {4, 0, 2, 1, 0, 1, 0}},
        {"external mask of the node itself", &top->ext_mask, wrong, {4, 0, 2, 1, 1, 0, 0}},
        {"external mask further down", &middle->ext_mask, lengths({16, 7}), {4, 0, 1, 2, 1, 0, 0}},
        {"external mask of an end node", &low->ext_mask, wrong, {4, 0, 3, 0, 1, 0, 0}},
        {"internal mask of a node without hint", &side->int_mask, wrong, {4, 0, 3, 0, 1, 0, 0}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.fault);
        const mask128 before = *c.field;
        *c.field = c.value;
        const std::string reply = run();
        const std::string expected = summary(c.expected);
        EXPECT_EQ(reply.substr(reply.find("Results")), expected);
        EXPECT_EQ(reply == expected, c.expected.child_mismatch + c.expected.ebmap_mismatch == 0);
        *c.field = before;
    }
    middle->hint_ebmap = 0;
    EXPECT_NE(run().find(summary({4, 0, 2, 1, 1, 0, 0})), std::string::npos);
}

TEST_F(HintMaskCheck, HintStateDecidesWhatIsChecked) {
    top->hint_state = HINT_INIT;
    top->int_mask = lengths({7});
    EXPECT_EQ(run(), summary({4, 0, 2, 0, 0, 0, 0}));
    middle->hint_state = HINT_INIT;
    low->hint_state = HINT_INIT;
    EXPECT_EQ(run(), summary({4, 0, 0, 0, 0, 0, 0}));
    top->hint_state = HINT_SEARCH;    // its hinted child has no hint node and gives no mask away
    top->int_mask = lengths({5});
    top->hint_ebmap = uint64_t{1} << 2;
    EXPECT_EQ(run(), summary({4, 0, 1, 0, 1, 0, 0}));
}

TEST_F(HintMaskCheck, DetailLinesShowLowWordFirst) {
    low->int_mask = lengths({32, 128});
    EXPECT_EQ(run(), format("mismatch: bmsf 0 tn %p child:1\n"
                            "  hint_mask 0x0000000000000000 0004000000000000 \n"
                            "tn int mask 0x0000000000000001 0000000100000000\n"
                            "tn ext mask 0x0000000000000000 0000000000000000\n\n",
                            static_cast<void *>(low)) +
                         summary({4, 0, 2, 1, 1, 0, 0}));
    low->int_mask = low->hint_mask;
    side->hint_state = HINT_INIT;
    top->hint_mask = lengths({128});
    EXPECT_EQ(run(), format("mismatch: hint_mask 0x0000000000000000 0805000000000000"
                            " tn hmask 0x0000000000000001 0000000000000000, tn %p\n",
                            static_cast<void *>(top)) +
                         summary({3, 1, 3, 0, 1, 0, 1}));
}

TEST_F(HintMaskCheck, StartNodeIsCheckedWithoutParent) {
    EXPECT_EQ(run(middle), format("walk tn tree start from %p\n", static_cast<void *>(middle)) +
                               summary({3, 0, 2, 0, 0, 0, 0}));
    // An internal node as start has no parent, its leaves count for nothing.
    const tn *inode = tn_inode(top);
    EXPECT_EQ(run(inode), format("walk tn tree start from %p\n", static_cast<const void *>(inode)) +
                              summary({1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(captured([] { cmd_ckhmask(0x10, 0, 0); }), "invalid tn addr: 0x10\n");
    EXPECT_EQ(captured([] { cmd_ckhmask(0x7ffffffff000, 0, 0); }),
              "address 0x7ffffffff000 is not readable\n");
}

TEST_F(HintMaskCheck, SlotsBehindTheLastGroupCountAsItsOwn) {
    mask128 mask{};
    hint_ext_mask_union(top, mask);
    EXPECT_EQ(mask, lengths({16}));
    tn *extra = tree.search_at("252.0.0.0/6", 24);    // the last slot of the top node
    extra->hint_state = HINT_SEARCH;
    extra->ext_mask = lengths({30});
    mask = {};
    hint_ext_mask_union(top, mask);
    EXPECT_EQ(mask, lengths({16}));
    top->sn_ebmap &= ~(uint64_t{1} << 63);    // now group 2 is the last one
    mask = {};
    hint_ext_mask_union(top, mask);
    EXPECT_EQ(mask, lengths({16, 30}));
}

TEST(HintMaskCheckLimits, LinesAreLimitedCountersGoOn) {
    hand_tree tree;
    for (uint32_t chunk = 0; chunk < 6; ++chunk) {
        tn *node = tree.add_end(tree.root(), chunk);
        node->hint_state = HINT_END;
        node->int_mask = lengths({1});
        node->hint_mask = lengths({2});
    }
    for (int repeat = 0; repeat < 2; ++repeat) {
        const std::vector<std::string> pieces = captured_pieces([] { cmd_ckhmask(0, 0, 0); });
        ASSERT_EQ(pieces.size(), 4U + 3 + 4);
        EXPECT_EQ(pieces[6].substr(0, 15), "mismatch: bmsf ");
        EXPECT_EQ(pieces[7] + pieces[8] + pieces[9] + pieces[10], summary({0, 6, 0, 6, 0, 0, 0}));
    }
}

TEST(HintMaskCheckLimits, EmptyAndDamagedNodes) {
    hand_tree tree;
    tn *node = tree.add_search(tree.root(), 5);
    EXPECT_EQ(run(), summary({1, 0, 0, 0, 0, 0, 0}));
    tree.add_intern(node)->in_lfarray = nullptr;
    EXPECT_EQ(run(), summary({1, 0, 0, 0, 1, 0, 0}));
    node->hint_state = HINT_SEARCH;
    node->hint_ebmap = ~uint64_t{0};
    tree.add_search(node, 3);
    node->sn_charray->ta_nodes[1] = node;    // a cycle of hinted nodes
    const std::string reply = run();
    EXPECT_NE(reply.find("walk stopped"), std::string::npos);
    EXPECT_EQ(reply.find("walk stopped"), reply.rfind("walk stopped"));
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(run(), "NULL tbm_handle\n" + summary({}));
}
