// Every field that a checker reads is damaged once on a healthy card: the counters that must move
// do, and no other does.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "checks/commands.h"
#include "console/commands.h"
#include "phu/commands.h"
#include "records/hw_node.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tests/card/powered_card.h"
#include "tests/support/text.h"

namespace {

struct Column {
    const char *name;
    command_function command;
    const char *label;    // a counter behind a label, or lines that start so
    bool lines;
};

constexpr Column columns[] = {
    {"bmsf", cmd_ckbmsf, "bmsf MISMATCH:", false},
    {"bank index", cmd_ckbank, "INVALID hw index count:", false},
    {"bank level", cmd_ckbank, "invalid level ", true},
    {"bank en", cmd_ckbank, "en mask MISMATCH      :", false},
    {"bank sn", cmd_ckbank, "ERR: hint sn mismatch", true},
    {"bank id", cmd_ckbank, "ERR: bank id ", true},
    {"bank size", cmd_ckbank, " has incorrect bank_size", true},
    {"bank used", cmd_ckbank, " doens't match node_bitmap ones ", true},
    {"bank stride", cmd_ckbank, "ERR: phu_stride ", true},
    {"bank sum", cmd_ckbank, "ERR: phu_ctx bank_bitmap ones ", true},
    {"bank read", cmd_ckbank, "failed to read hwindex", true},
    {"mask child", cmd_ckhmask, "inode+child MISMATCH:", false},
    {"mask ext", cmd_ckhmask, "int+ext+ebmap MISMATCH:", false},
    {"mask inode", cmd_ckhmask, "inode & parent int mask MISMATCH:", false},
    {"mask lost", cmd_ckhmask, "inode pfx not in hint_mask:", false},
    {"parbl", cmd_ckparbl, "INVALID par bl:", false},
    {"parbl end", cmd_ckparbl, "INVALID end par bl:", false},
    {"parbl offset", cmd_ckparbl, "INVALID offset:", false},
    {"parbl unknown", cmd_ckparbl, "unknown tn nodes:", false},
    {"lookup missed", cmd_cklkup, "prefix     no match:", false},
    {"lookup leaf", cmd_cklkup, "lf lookup MISMATCH:", false},
    {"hw missed", cmd_cklkuphw, "prefix     no match:", false},
};

/// Names of the columns that are not 0.
std::set<std::string> moved_columns() {
    std::set<std::string> moved;
    for (const Column &column : columns) {
        const std::string text = reply_of(column.command);
        const bool any = column.lines ? text.find(column.label) != std::string::npos
                                      : number_after(text, column.label) != 0;
        if (any) {
            moved.insert(column.name);
        }
    }
    return moved;
}

void healthy_card() {
    simcard::Card &card = powered_card();
    for (const char *prefix :
         {"10.0.0.0/8", "10.0.0.0/10", "10.1.0.0/16", "10.1.2.0/24", "10.1.2.128/25", "10.1.2.3/32",
          "10.1.4.0/22", "192.168.0.0/16", "192.168.7.0/24", "192.168.64.0/20", "172.16.0.0/12",
          "2001:db8::/32", "2001:db8:1::/48", "2001:db8:1:2::/64", "2001:db8:1:2::1/128"}) {
        EXPECT_EQ(card.add(prefix), simcard::card_ok);
    }
}

/// Nodes from the root to the one where a prefix is stored.
std::vector<tn *> path_to(const char *prefix) {
    simcard::Path path;
    std::vector<tn *> nodes;
    const simcard::Key key = *simcard::key_of(*simcard::parse_prefix(prefix, 0));
    tn *node = phu_ctx->tbm_handle->tbdb_root->ta_nodes[key.root_slot()];
    for (uint32_t depth = tbm_root_bits;; depth += tbm_stride_bits) {
        nodes.push_back(node);
        if (key.bits < depth + tbm_stride_bits) {
            return nodes;
        }
        node = simcard::child_at(node, key.chunk(depth));
    }
}

tn *node_of(const char *prefix) {
    return path_to(prefix).back();
}

/// First node on the way to a prefix, below the root, in a hint state.
tn *on_the_way(const char *prefix, uint8_t state) {
    for (tn *node : path_to(prefix)) {
        if (node->hint_state == state && node != path_to(prefix).front()) {
            return node;
        }
    }
    ADD_FAILURE() << "no node in state " << int{state} << " on the way to " << prefix;
    return nullptr;
}

/// An end node with a hardware node, a cover and one prefix, 192.168.64.0/20.
tn *end_node() {
    tn *node = node_of("192.168.64.0/20");
    EXPECT_TRUE(tn_is_end(node) && node->hint_state == HINT_END && node->par_bl_len == 16);
    return node;
}

/// A search node with a match-end node, a cover and an internal node that holds 10.1.0.0/16.
tn *search_node() {
    tn *node = node_of("10.1.0.0/16");
    EXPECT_TRUE(tn_is_search(node) && node->hint_state == HINT_SEARCH_END &&
                node->par_bl_len == 10);
    return node;
}

phu_bank_record &bank_of(const tn *node) {
    return phu_ctx->bank[hw_index_bank(node->hw_index)];
}
phu_stride_record &stride_of(const tn *node) {
    return phu_ctx->stride[hw_index_level(node->hw_index)];
}
void flip_length(mask128 &mask, uint32_t length) {
    mask128 one{};
    mask_set_from_left(one, length);
    mask = {mask.low ^ one.low, mask.high ^ one.high};
}
void flip_image_byte(uint32_t hw_index, size_t byte, uint8_t bits = 1) {
    simcard::Chip &chip = simcard::Card::instance().chip();
    phu_node image = chip.node(hw_index);
    reinterpret_cast<uint8_t *>(&image)[byte] ^= bits;
    chip.write_node(hw_index, image);
}

struct Row {
    const char *fault;
    void (*plant)();
    std::set<std::string> moves;
};

const Row rows[] = {
    {"none", [] {}, {}},
    {"bmsf of an end node", [] { end_node()->bmsf ^= 1; }, {"bmsf", "bank en"}},
    {"bmsf of a search node",
     [] { on_the_way("2001:db8:1::/48", HINT_SEARCH)->bmsf ^= 1; },
     {"bmsf", "bank sn"}},
    {"hint_mask of a hinted node", [] { flip_length(end_node()->hint_mask, 31); }, {"mask child"}},
    {"hint_mask of a search node loses a length of its internal node",
     [] { flip_length(search_node()->hint_mask, 16); },
     {"mask child", "mask lost"}},
    {"int_mask of an end node",
     [] { flip_length(end_node()->int_mask, 31); },
     {"mask ext", "bank en"}},
    {
        "int_mask of a search node",
        [] { flip_length(search_node()->int_mask, 16); },
        {"mask ext", "mask inode"}    // 10.1.0.0 itself is answered by a child, whose bmsf says 16
    },
    {"ext_mask of a hinted node", [] { flip_length(search_node()->ext_mask, 30); }, {"mask ext"}},
    {"hint_ebmap of a search node",
     [] { on_the_way("10.1.2.0/24", HINT_SEARCH_END)->hint_ebmap = 0; },
     {"mask ext", "bank sn"}},
    {"hint state INIT in the middle of the hint tree",
     [] { on_the_way("2001:db8:1::/48", HINT_SEARCH)->hint_state = HINT_INIT; },
     {}},
    {"par_bl_larray of an end node",
     [] { end_node()->par_bl_larray = tn_inode(search_node())->in_lfarray; },
     {"parbl", "parbl end"}},
    {"par_bl_offset of an end node",
     [] { end_node()->par_bl_offset = 99; },
     {"parbl", "parbl end"}},
    {"par_bl_len of an end node", [] { end_node()->par_bl_len ^= 1; }, {"parbl", "parbl end"}},
    {"par_bl_offset of a search node",
     [] { search_node()->par_bl_offset = 99; },
     {"parbl", "parbl offset"}},
    {"par_bl_larray of a search node",
     [] { search_node()->par_bl_larray = tn_inode(node_of("10.1.2.0/24"))->in_lfarray; },
     {"parbl"}},
    {"type of a node",
     [] { end_node()->tn_flags = TN_LEAF; },
     {"parbl unknown", "mask child", "mask ext"}},
    {"hw_index names a free node", [] { end_node()->hw_index ^= 0x400; }, {"bank index"}},
    {"hw_index names a bank that does not exist",
     [] { end_node()->hw_index |= 0x00ff0000; },
     {"bank index"}},
    {"hw_index names a level without banks",
     [] { end_node()->hw_index |= 0x1e000000; },
     {"bank level"}},
    {"search node image: child bitmap",
     [] { flip_image_byte(on_the_way("10.1.2.0/24", HINT_SEARCH_END)->hw_index, 7); },
     {"bank sn"}},
    {"search node image: bmsf",
     [] { flip_image_byte(on_the_way("10.1.2.0/24", HINT_SEARCH_END)->hw_index, 11); },
     {"bank sn"}},
    {"end node image: mask",
     [] { flip_image_byte(end_node()->hw_index, 1, 0x10); },
     {"bank en", "hw missed"}},
    {"end node image: a length too many",
     [] { flip_image_byte(end_node()->hw_index, 0); },
     {"bank en"}},
    {"end node image: type", [] { flip_image_byte(end_node()->hw_index, 16); }, {"hw missed"}},
    {"node bitmap lacks a node in use",
     [] {
         const tn *node = end_node();
         const uint32_t n = hw_index_node(node->hw_index);
         bank_of(node).node_bitmap[n / 64] &= ~(uint64_t{1} << (n % 64));
     },
     {"bank index", "bank used"}},
    {"node used of a bank", [] { bank_of(end_node()).node_used++; }, {"bank used"}},
    {"bank id", [] { bank_of(end_node()).bank_id ^= 1; }, {"bank id"}},
    {"bank size", [] { bank_of(end_node()).bank_size--; }, {"bank size"}},
    {"bitmap size of a bank", [] { bank_of(end_node()).bitmap_size--; }, {"bank size"}},
    {"stride level of a bank", [] { bank_of(end_node()).stride_level++; }, {"bank stride"}},
    {"level of a stride entry", [] { stride_of(end_node()).level = 23; }, {"bank level"}},
    {"bank_used of a stride entry", [] { stride_of(end_node()).bank_used++; }, {"bank sum"}},
    {"bank bitmap of a stride entry",
     [] { stride_of(end_node()).bank_bitmap |= 1U << 19; },
     {"bank stride"}},
    {"bank bitmap of the context",
     [] { phu_ctx->bank_bitmap &= ~(uint64_t{1} << hw_index_bank(end_node()->hw_index)); },
     {"bank index", "bank sum"}},
    {"key type of an end node", [] { end_node()->key_type = 1; }, {"bank en"}},
    {"leaf pointer below the start",
     [] {
         // A copy in front of the tree: everything but its place is right.
         auto *low = reinterpret_cast<leaf *>(&simcard::Card::instance().fixed().plu.reserved1[7]);
         leaf *&own = end_node()->in_lfarray->la_leaves[0];
         *low = *own;
         own = low;
     },
     {"lookup missed"}},
    {"entry missing in the exact-match path",
     [] {
         simcard::ExactMatch &match = simcard::Card::instance().match();
         simcard::MatchEntry entry;
         ASSERT_TRUE(
             simcard::ExactMatch::make_entry(*simcard::parse_prefix("172.16.0.0/12", 0), entry));
         match.erase(simcard::ExactMatch::find(match.homes(entry), entry));
     },
     {"lookup missed", "hw missed"}},
    {"failing node read",
     [] { simcard::Card::instance().chip().plant_read_fault(end_node()->hw_index, true); },
     {"bank read", "hw missed"}},
    {"par_bl_larray of an end node is gone", [] { end_node()->par_bl_larray = nullptr; }, {}},
    {"hint_sn_bitmap, the copy of the search node", [] { search_node()->hint_sn_bitmap ^= 1; }, {}},
    {"hint_en_mask, the copy of the end node", [] { end_node()->hint_en_mask[0] ^= 1; }, {}},
};

}    // namespace

TEST(FaultMatrix, EachFaultMovesItsCountersAndNoOther) {
    for (const Row &row : rows) {
        SCOPED_TRACE(row.fault);
        healthy_card();
        row.plant();
        EXPECT_EQ(moved_columns(), row.moves);
    }
}

namespace {

tn *below_search_node() {
    const std::vector<tn *> way = path_to("10.1.2.0/24");
    return *std::next(std::find(way.begin(), way.end(), node_of("10.1.0.0/16")));
}

/// What a record claims is wrong, what it holds is right: the replies go by what it holds.
struct FalseClaim {
    const char *fault;
    void (*plant)();
    std::string (*replies)();
    std::string expected;    // of all replies; empty: those of the healthy card
};

std::string searched_and_checked() {
    return reply_of(cmd_v4, 0x0a010280, 32) + reply_of(cmd_v4, 0x0a010101, 32) +
           reply_of(cmd_walk, 11) + reply_of(cmd_ckbmsf) + reply_of(cmd_ckparbl) +
           reply_of(cmd_showla, number(tn_inode(search_node())->in_lfarray));
}

const FalseClaim false_claims[] = {
    {"a node of no known type keeps its children",
     [] {
         search_node()->tn_flags |= TN_LEAF;
         below_search_node()->bmsf ^= 1;
     },
     [] {
         return named(reply_of(cmd_ckbmsf), {{below_search_node(), "CHILD"}});
     },
     "bmsf mismatch tn CHILD bmsf 16 hint bmsf 17 parent_tn (nil)\n"
     "\nResults of checking bmsf:\n  total tn nodes:            35\n"
     "  bmsf match non zero:       21\n  bmsf match  zero:          13\n"
     "  bmsf MISMATCH:              1\n"},
    {"slot 0 of a node with the inode flag keeps its leaves under an odd type",
     [] { search_node()->sn_charray->ta_nodes[0]->tn_flags ^= TN_INTERN | TN_LEAF; },
     searched_and_checked, ""},
    {"a child behind the array's count is found by its bit",
     [] { path_to("10.1.2.128/25").end()[-2]->sn_charray->ta_nnodes = 0; },
     [] { return reply_of(cmd_v4, 0x0a010280, 32); }, ""},
    {"a leaf behind the array's count is found by its bit",
     [] { tn_inode(search_node())->in_lfarray->la_nnodes = 0; },
     [] { return reply_of(cmd_v4, 0x0a010101, 32); }, ""},
    {"slot 0 of a root table of no slots still begins the shared memory",
     [] { phu_ctx->tbm_handle->tbdb_root->ta_nnodes = 0; },
     [] {
         const auto slot_0 = number(phu_ctx->tbm_handle->tbdb_root->ta_nodes[0]);
         return reply_of(cmd_memr, slot_0, 64) + reply_of(cmd_memr, slot_0 - 1, 64) +
                reply_of(cmd_showla, slot_0 - 16);
     },
     ""},
};

}    // namespace

TEST(FaultMatrix, RepliesGoByWhatRecordsHoldWhereTheirClaimsAreWrong) {
    for (const FalseClaim &row : false_claims) {
        SCOPED_TRACE(row.fault);
        healthy_card();
        const std::string healthy = row.replies();
        row.plant();
        EXPECT_EQ(row.replies(), row.expected.empty() ? healthy : row.expected);
    }
}
