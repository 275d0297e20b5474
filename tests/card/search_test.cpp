// The narrated search against the true longest match, and its verification against planted faults.

#include "tbm/search.h"

#include <gtest/gtest.h>

#include <random>

#include "simcard/mirror_fields.h"
#include "tbm/commands.h"
#include "tests/card/powered_card.h"
#include "tests/support/random_table.h"

namespace {

tbm_search_result searched(const simcard::Key &key, std::string &text) {
    tbm_search_result result{};
    text = captured([&] { tbm_search_hint(phu_ctx->tbm_handle, key.bytes, result); });
    return result;
}

/// True when the walk to an address ends below a node one of whose children had to stay unhinted.
bool ends_below_an_unhinted_child(const simcard::Key &key) {
    const tn *node = phu_ctx->tbm_handle->tbdb_root->ta_nodes[key.root_slot()];
    bool below = false;
    for (uint32_t depth = tbm_root_bits; node != nullptr; depth += tbm_stride_bits) {
        below = below || simcard::unhinted_children(node) != 0;
        const uint32_t chunk = key.chunk(depth);
        node = simcard::is_search(node) && (node->sn_ebmap >> chunk & 1) != 0
                   ? simcard::child_at(node, chunk)
                   : nullptr;
    }
    return below;
}

struct Tally {
    int searched = 0;
    int shorter = 0;    // covers reported below a child that could not be hinted
    int errors = 0;
};

Tally compare_with_longest_match(simcard::Card &card, const TableModel &model, int probes) {
    std::mt19937_64 random(71);
    Tally tally;
    for (int i = 0; i < probes; ++i) {
        simcard::Key key =
            std::next(model.entries().begin(), static_cast<long>(random() % model.entries().size()))
                ->first;
        const uint32_t width = key.ipv6() ? 146 : 50;
        const uint32_t from = i % 4 == 0 ? tbm_header_bits : key.bits;    // outside and inside
        for (uint32_t bit = from; bit < width; ++bit) {
            if (random() % 2 == 0) {
                key.bytes[bit / 8] ^= static_cast<uint8_t>(0x80 >> (bit % 8));
            }
        }
        key.bits = width;
        std::string text;
        const leaf *best = searched(key, text).best;
        const leaf *truth = card.search(key).best;
        ++tally.searched;
        tally.errors += text.find("ERR PHU") != std::string::npos ? 1 : 0;
        if (best != truth) {
            ++tally.shorter;
            EXPECT_TRUE(ends_below_an_unhinted_child(key)) << prefix_text(key) << text;
            EXPECT_LT(best == nullptr ? 0 : best->key_bits_used, truth->key_bits_used);
        }
    }
    return tally;
}

}    // namespace

TEST(Search, ReportsTheLongestMatchUnlessACoverCouldNotBeHinted) {
    for (const int limit : {1, 8, 128}) {
        SCOPED_TRACE(limit);
        simcard::CardOptions options;
        options.mask_limit = static_cast<uint8_t>(limit);
        simcard::Card &card = powered_card(options);
        TableModel model;
        model.load(card, random_table(3000, 72));
        const Tally tally = compare_with_longest_match(card, model, 10000);
        EXPECT_EQ(tally.errors, 0);
        EXPECT_LT(tally.shorter, tally.searched / 50);
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
    EXPECT_EQ(compare_with_longest_match(card, model, 5000).shorter, 0);
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
         "[End Node incorrect][Mask:110010]"},
        {[](tn *node) { node->bmsf ^= 1; }, HINT_END, "192.168.64.1", "[End Node incorrect]"},
        {[](tn *node) { node->int_mask.high ^= uint64_t{1} << 32; }, HINT_END, "192.168.64.1",
         "[End Node incorrect]"},
        {[](tn *node) { node->ext_mask.high ^= uint64_t{1} << 32; }, HINT_SEARCH_END, "9.1.1.1",
         "[Search End Node incorrect]"},
        {[](tn *node) { node->hint_sn_word ^= uint64_t{5} << 24; }, HINT_SEARCH, "9.1.1.1",
         "[Search Node with Leafs - incorrect][bmsf:5][cal bmsf:0]\n"},
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
        EXPECT_NE(text.find(c.line, at), std::string::npos) << text.substr(at, 200);
        EXPECT_EQ(text.find("ERR PHU", at + 1), std::string::npos);
    }
}
