// Addresses of readable memory that is no node, and nodes that are not what their place says.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "checks/commands.h"
#include "phu/commands.h"
#include "shm/readable_memory.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tests/card/powered_card.h"
#include "tests/support/text.h"

namespace {

constexpr uint64_t unmapped = 0x7ffffffff000;
using command = void (*)(uint64_t, uint64_t, uint64_t);
constexpr command showing_commands[] = {cmd_tn, cmd_tnwalk, cmd_tnbl};
constexpr command walking_commands[] = {cmd_cntpfx, cmd_cklkup, cmd_cklkuphw, cmd_ckhmask};

std::string not_readable(uint64_t address) {
    return format("address 0x%lx is not readable\n", address);
}

/// A search node with a search node below it, in memory that is no part of the tree.
struct stray_nodes {
    tn outer;
    tn inner;
    tree_array outer_array;
    tree_array inner_array;
    tn *outer_slots[1];
    tn *inner_slots[1];

    static stray_nodes &make() {
        void *at = mmap(nullptr, sizeof(stray_nodes), PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        auto *made = static_cast<stray_nodes *>(at);
        made->outer.tn_flags = made->inner.tn_flags = tbm_stride_bits << tn_stride_shift;
        made->outer.sn_charray = &made->outer_array;
        made->inner.sn_charray = &made->inner_array;
        made->outer.sn_ebmap = made->inner.sn_ebmap = 1;
        made->outer_array = {1, 0, 0, made->outer_slots};
        made->inner_array = {1, 0, 0, made->inner_slots};
        made->outer_slots[0] = &made->inner;
        return *made;
    }
};

class StrayAddress : public testing::Test {
protected:
    StrayAddress() : card(powered_card()), stray(stray_nodes::make()) {
        for (const char *prefix : {"10.0.0.0/8", "10.1.2.0/24", "10.1.2.128/25", "10.1.2.3/32"}) {
            card.add(prefix);
        }
        tn_visit(card.fixed().root_slots[0]);
    }
    void tn_visit(tn *node) {
        (tn_is_search(node) ? search_nodes : leaf_nodes).push_back(node);
        const child_slots slots = tn_is_search(node) ? tn_child_slots(node) : child_slots{};
        for (int i = 0; i < slots.end; ++i) {
            if (slots.nodes[i] != nullptr) {
                tn_visit(slots.nodes[i]);
            }
        }
    }

    simcard::Card &card;
    stray_nodes &stray;
    std::vector<tn *> search_nodes;
    std::vector<tn *> leaf_nodes;
};

TEST_F(StrayAddress, ATypedStartIsWalkedAroundWhatCannotBeRead) {
    const auto all_say = [&](const std::string &line, int at) {
        for (const command run : walking_commands) {
            const std::string reply = reply_of(run, number(&stray.outer), 15);
            EXPECT_TRUE(contains(reply, line)) << at << reply;
            EXPECT_GT(reply.size(), line.size() + 100) << at << reply;    // its summary follows
        }
    };
    stray.inner.sn_charray = reinterpret_cast<tree_array *>(unmapped);
    all_say(not_readable(unmapped), __LINE__);
    stray.inner.sn_charray = &stray.inner_array;
    stray.inner_slots[0] = &stray.outer;    // a cycle
    all_say(", walk stopped\n", __LINE__);
    stray.inner_slots[0] = nullptr;
    stray.inner.tn_flags |= tn_inode_flag;
    stray.inner_array = {0, 0, 0, reinterpret_cast<tn **>(unmapped)};
    all_say(not_readable(unmapped), __LINE__);
    stray.inner.tn_flags = TN_END;
    leaf_array endless{1 << 20, 0, reinterpret_cast<leaf **>(&card.fixed())};
    stray.inner.in_lfarray = &endless;
    all_say(not_readable(number(&endless)), __LINE__);
}

TEST_F(StrayAddress, RecordsOfOtherKindsEndNoCommand) {
    std::vector<uint64_t> addresses;
    for (const tn *node : search_nodes) {
        addresses.insert(addresses.end(), {number(node) + 8, number(node->sn_charray),
                                           number(node->sn_charray->ta_nodes)});
    }
    for (const tn *node : leaf_nodes) {
        addresses.insert(addresses.end(), {number(node) + 16, number(node->in_lfarray),
                                           number(node->in_lfarray->la_leaves[0])});
    }
    for (const uint64_t address : addresses) {
        for (const command run : walking_commands) {
            EXPECT_NE(reply_of(run, address, 15), "");
        }
        for (const command run : showing_commands) {
            EXPECT_NE(reply_of(run, address, 15), "");
        }
        EXPECT_NE(reply_of(cmd_showla, address, 1), "");
        EXPECT_NE(reply_of(cmd_hwidxwalk, 1, address), "");
    }
}

/// Whole runs of the shared memory are remembered; a page in one that cannot be read must not be.
TEST_F(StrayAddress, APageThatCannotBeReadIsInNoRememberedRun) {
    constexpr uint64_t page = 0x1000;
    constexpr uint64_t run = 0x10000;
    const uint64_t base = (number(&card.fixed()) + (uint64_t{1} << 30)) & ~(run - 1);
    const uint64_t hidden = base + run + 5 * page;
    ASSERT_EQ(mprotect(reinterpret_cast<void *>(hidden), page, PROT_NONE), 0);
    const auto holds = [](uint64_t address) {
        return readable_memory::holds(reinterpret_cast<const tn *>(address));
    };
    for (int round = 0; round < 100; ++round) {    // single questions first, runs then
        const uint64_t before = hidden - sizeof(tn);
        ASSERT_TRUE(holds(before) && holds(hidden + page) && holds(base + run - 8)) << round;
        ASSERT_FALSE(holds(before + 8) || holds(hidden) || holds(hidden + page - 8)) << round;
        ASSERT_FALSE(holds(base + 4) || holds(0) || holds(~uint64_t{7})) << round;
    }
    mprotect(reinterpret_cast<void *>(hidden), page, PROT_READ | PROT_WRITE);
}

TEST_F(StrayAddress, ALeafArrayUnderATypeWithoutOneIsNotWalkedAsChildren) {
    stray.outer.sn_charray = reinterpret_cast<tree_array *>(unmapped);
    stray.outer_slots[0] = &stray.outer;
    leaf_array leaves{1, 0, reinterpret_cast<leaf **>(stray.outer_slots)};
    for (const uint16_t type : {TN_LEAF, tn_type(5)}) {
        leaf_nodes.back()->tn_flags = type;
        leaf_nodes.back()->in_lfarray = &leaves;
        const std::string walked = reply_of(cmd_walk);
        EXPECT_TRUE(contains(walked, not_readable(unmapped)));
        EXPECT_TRUE(contains(walked, "tree walk completed\n"));
    }
}

TEST_F(StrayAddress, WalkFollowsAStrayArrayToMoreThan100000Nodes) {
    constexpr int shared = 330;
    std::vector<tn *> outer(shared, &stray.inner);
    std::vector<tn *> inner(shared, leaf_nodes[0]);
    stray.outer_array = {shared, 0, 0, outer.data()};
    stray.inner_array = {shared, 0, 0, inner.data()};
    search_nodes.back()->tn_flags = TN_LEAF;
    search_nodes.back()->sn_charray = &stray.outer_array;
    const std::string walked = reply_of(cmd_walk);
    EXPECT_FALSE(contains(walked, "not readable"));
    EXPECT_TRUE(contains(walked, "tree walk completed\n"));
}

TEST_F(StrayAddress, ASearchNodeInThePlaceOfAnInternalNodeHasNoLeaves) {
    for (tn *node : search_nodes) {
        if (tn *inode = tn_inode(node); inode != nullptr) {
            node->sn_charray->ta_nodes[0] = search_nodes.back();
            EXPECT_TRUE(contains(reply_of(cmd_tn, number(node), 2), " in_lfarray is NULL\n"));
            EXPECT_NE(reply_of(cmd_v4, 0x0a010203, 32), "");
            node->sn_charray->ta_nodes[0] = inode;
        }
    }
}

}    // namespace
