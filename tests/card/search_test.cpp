// The narrated search against the true longest match, and its verification against planted faults.

#include "tests/card/search_truth.h"

#include <gtest/gtest.h>

#include "tests/support/random_table.h"

TEST(Search, ReportsTheLongestMatchUnlessACoverCouldNotBeHinted) {
    for (const int limit : {1, 8, 128}) {
        SCOPED_TRACE(limit);
        simcard::CardOptions options;
        options.mask_limit = static_cast<uint8_t>(limit);
        simcard::Card &card = powered_card(options);
        TableModel model;
        model.load(card, random_table(3000, 72));
        const Tally tally = compare_with_longest_match(model, 5000);
        EXPECT_EQ(tally.errors, 0);
        EXPECT_LT(tally.shorter, tally.exact / 50);
        EXPECT_GT(card.mirror().unhinted(), 0);
    }
}

TEST(Search, IsExactWhereEveryCoverCanBeHinted) {
    simcard::Card &card = powered_card();
    TableModel model;
    std::vector<pfx_entry> table;
    for (const pfx_entry &entry : random_table(6000, 73)) {
        if (entry.length() % 6 == 0) {    // no two lengths share a node: every cover is a parent's
            table.push_back(entry);
        }
    }
    model.load(card, table);
    ASSERT_EQ(card.mirror().unhinted(), 0);
    EXPECT_EQ(compare_with_longest_match(model, 2500).shorter, 0);
}

TEST(Search, EachPlantedFaultProducesExactlyItsLine) {
    const auto node_at = [](const char *prefix, uint8_t state) {
        const simcard::Key key = *simcard::key_of(*simcard::parse_prefix(prefix, 0));
        tn *node = phu_ctx->tbm_handle->tbdb_root->ta_nodes[key.root_slot()];
        for (uint32_t depth = tbm_root_bits; depth == tbm_root_bits || node->hint_state != state;
             depth += tbm_stride_bits) {
            node = simcard::child_at(node, key.chunk(depth));
        }
        return node;
    };
    const struct {
        void (*plant)(tn *node);
        uint8_t state;
        const char *probe;    // an address that ends at the node
        const char *line;
    } cases[] = {
        {[](tn *node) { node->hint_en_mask[0] ^= 1; }, HINT_END, "192.168.64.1",
         "ERR PHU:[S:0.0.0.48.10.33][End Node incorrect][Mask:110010]"
         "[Calculated Mask:01100000000000]\n"},
        {[](tn *node) { node->bmsf ^= 1; }, HINT_END, "192.168.64.1",
         "ERR PHU:[S:0.0.0.48.10.33][End Node incorrect][Mask:110000]"
         "[Calculated Mask:0900000000000]\n"},
        {[](tn *node) { node->int_mask.high ^= uint64_t{1} << 32; }, HINT_END, "192.168.64.1",
         "ERR PHU:[S:0.0.0.48.10.33][End Node incorrect][Mask:110000]"
         "[Calculated Mask:01100100000000]\n"},
        {[](tn *node) { node->ext_mask.high ^= uint64_t{1} << 32; }, HINT_SEARCH_END, "9.1.1.1",
         "ERR PHU:[S:0.0.0][Search End Node incorrect][Mask:40000000]"
         "[Calculated Mask:0400000100000000]\n"},
        {[](tn *node) { node->hint_sn_word ^= uint64_t{5} << 24; }, HINT_SEARCH, "9.1.1.1",
         "ERR PHU:[S:0.0.0][Search Node with Leafs - incorrect][bmsf:5][cal bmsf:0]\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.line);
        simcard::Card &card = powered_card();
        for (const char *prefix : {"192.168.0.0/16", "192.168.64.0/20"}) {
            ASSERT_EQ(card.add(prefix), simcard::card_ok);
        }
        if (c.state == HINT_SEARCH_END) {
            ASSERT_EQ(card.add("8.0.0.0/6"), simcard::card_ok);
        }
        const simcard::Key key = *simcard::key_of(*simcard::parse_prefix(c.probe, 0));
        std::string text;
        searched(key, text);
        EXPECT_EQ(text.find("ERR PHU"), std::string::npos) << text;
        c.plant(node_at(c.state == HINT_END ? "192.168.64.0/20" : "9.1.1.1", c.state));
        searched(key, text);
        const size_t at = text.find("ERR PHU:[S:");
        ASSERT_NE(at, std::string::npos) << text;
        EXPECT_EQ(text.substr(at, text.find('\n', at) + 1 - at), c.line);
        EXPECT_EQ(text.find("ERR PHU", at + 1), std::string::npos);
    }
}
