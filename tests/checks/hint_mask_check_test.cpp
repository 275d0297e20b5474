#include "checks/hint_mask_check.h"

#include <array>

#include "checks/commands.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

/// child match, mismatch; ebmap match, mismatch; parent match, mismatch; not in hint mask
using counts = std::array<int, 7>;

std::string summary(const counts &c) {
    return format(
        "Results of checking hint mask:\n  inode+child match: %d\n  inode+child MISMATCH: %d\n"
        "  int+ext+ebmap match: %d \n  int+ext+ebmap MISMATCH: %d\n"
        "  inode & parent int mask match: %d \n  inode & parent int mask MISMATCH: %d\n"
        "  inode pfx not in hint_mask: %d\n",
        c[0], c[1], c[2], c[3], c[4], c[5], c[6]);
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

TEST_F(HintMaskCheck, PlantedFaultsMoveTheirCounters) {
    const mask128 wrong = lengths({7});
    const struct {
        mask128 *field;
        mask128 value;
        counts expected;
    } cases[] = {
        {&low->hint_mask, lengths({14}), {4, 0, 3, 0, 1, 0, 0}},    // no fault
        {&low->hint_mask, wrong, {2, 2, 3, 0, 1, 0, 0}},
        {&side->hint_mask, wrong, {2, 2, 2, 1, 1, 0, 0}},
        {&top->hint_mask, lengths({5, 14}), {3, 1, 3, 0, 1, 0, 0}},
        {&top->hint_mask, lengths({14, 16}), {3, 1, 3, 0, 1, 0, 1}},
        {&low->int_mask, wrong, {4, 0, 2, 1, 1, 0, 0}},
        {&top->int_mask, lengths({5, 7}), {4, 0, 2, 1, 0, 1, 0}},
        {&top->ext_mask, wrong, {4, 0, 2, 1, 1, 0, 0}},
        {&middle->ext_mask, lengths({16, 7}), {4, 0, 1, 2, 1, 0, 0}},
        {&low->ext_mask, wrong, {4, 0, 3, 0, 1, 0, 0}},     // an end node has none
        {&side->int_mask, wrong, {4, 0, 3, 0, 1, 0, 0}},    // no hint node
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const mask128 before = *cases[i].field;
        *cases[i].field = cases[i].value;
        const std::string reply = reply_of(cmd_ckhmask);
        const std::string expected = summary(cases[i].expected);
        EXPECT_EQ(reply.substr(reply.find("Results")), expected) << i;
        EXPECT_EQ(reply == expected, cases[i].expected[1] + cases[i].expected[3] == 0) << i;
        *cases[i].field = before;
    }
    middle->hint_ebmap = 0;
    EXPECT_NE(reply_of(cmd_ckhmask).find(summary({4, 0, 2, 1, 1, 0, 0})), std::string::npos);
}

TEST_F(HintMaskCheck, HintStateDecidesWhatIsChecked) {
    top->hint_state = HINT_INIT;
    top->int_mask = lengths({7});
    EXPECT_EQ(reply_of(cmd_ckhmask), summary({4, 0, 2, 0, 0, 0, 0}));
    middle->hint_state = HINT_INIT;
    low->hint_state = HINT_INIT;
    EXPECT_EQ(reply_of(cmd_ckhmask), summary({4, 0, 0, 0, 0, 0, 0}));
    top->hint_state = HINT_SEARCH;    // its hinted child has no hint node and gives no mask away
    top->int_mask = lengths({5});
    EXPECT_EQ(reply_of(cmd_ckhmask), summary({4, 0, 1, 0, 1, 0, 0}));
}

TEST_F(HintMaskCheck, DetailLinesShowLowWordFirst) {
    low->int_mask = lengths({32, 128});
    EXPECT_EQ(reply_of(cmd_ckhmask), format("mismatch: bmsf 0 tn %p child:1\n"
                                            "  hint_mask 0x0000000000000000 0004000000000000 \n"
                                            "tn int mask 0x0000000000000001 0000000100000000\n"
                                            "tn ext mask 0x0000000000000000 0000000000000000\n\n",
                                            static_cast<void *>(low)) +
                                         summary({4, 0, 2, 1, 1, 0, 0}));
    low->int_mask = low->hint_mask;
    top->hint_mask = lengths({128});
    EXPECT_EQ(reply_of(cmd_ckhmask),
              format("mismatch: hint_mask 0x0000000000000000 0805000000000000"
                     " tn hmask 0x0000000000000001 0000000000000000, tn %p\n",
                     static_cast<void *>(top)) +
                  summary({3, 1, 3, 0, 1, 0, 1}));
}

TEST_F(HintMaskCheck, StartNodeIsCheckedWithoutParent) {
    EXPECT_EQ(reply_of(cmd_ckhmask, number(middle)),
              format("walk tn tree start from %p\n", static_cast<void *>(middle)) +
                  summary({3, 0, 2, 0, 0, 0, 0}));
    // An internal node as start has no parent, its leaves count for nothing.
    const tn *inode = tn_inode(top);
    EXPECT_EQ(reply_of(cmd_ckhmask, number(inode)),
              format("walk tn tree start from %p\n", static_cast<const void *>(inode)) +
                  summary({1, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(reply_of(cmd_ckhmask, 0x10), "invalid tn addr: 0x10\n");
    EXPECT_EQ(reply_of(cmd_ckhmask, 0x7ffffffff000), "address 0x7ffffffff000 is not readable\n");
}
