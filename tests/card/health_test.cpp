// A healthy card: every check is clean, the lookups reach every prefix, and the commands' sums
// agree.

#include <gtest/gtest.h>

#include <random>

#include "phu/commands.h"
#include "tests/card/health.h"
#include "tests/card/powered_card.h"
#include "tests/support/random_table.h"

TEST(Health, EveryCheckIsCleanAfterEveryHundredChanges) {
    simcard::Card &card = powered_card();
    TableModel model;
    model.load(card, random_table(1500, 41));
    expect_healthy(model);
    expect_sums_agree();
    const std::vector<pfx_entry> changes = random_table(2500, 42);
    std::mt19937_64 random(43);
    for (int i = 1; i <= 6000; ++i) {
        ASSERT_TRUE(model.toggle(card, changes[random() % changes.size()]));
        if (i % 100 == 0) {
            card.fill_holes();
            card.flush();
            expect_healthy(model);
        }
        if (i % 1000 == 0) {
            expect_sums_agree();
            expect_recorded(model);
        }
        if (HasFailure()) {
            FAIL() << "after " << i << " changes";
        }
    }
    const std::vector<pfx_entry> recorded = expect_recorded(model);
    EXPECT_EQ(powered_card().load(recorded), recorded.size());
    expect_recorded(model);
}

TEST(Health, EveryCheckIsCleanWhenBanksRanOut) {
    simcard::CardOptions options;
    options.mask_limit = 1;
    simcard::Card &card = powered_card(options);
    TableModel model;
    std::vector<pfx_entry> table = random_table(2000, 51);
    const std::vector<pfx_entry> dense = dense_table(120000);
    table.insert(table.end(), dense.begin(), dense.end());
    model.load(card, table);
    ASSERT_GT(card.mirror().starved(), 0U);
    expect_healthy(model);
    EXPECT_GT(number_after(reply_of(cmd_dump), "bank node used:"), 100000);
}

TEST(Health, HardwareLookupReachesAnEndNodeThatNamesTheLength) {
    simcard::Card &card = powered_card();
    TableModel model;
    model.load(card, random_table(4000, 61));
    for (const auto &[key, entry] : model.entries()) {
        if (entry.length() != 0) {
            expect_hardware_names_match(key, entry);
        }
    }
}

TEST(Health, WhatWasReleasedIsUsedAgainLateAndInItsOrder) {
    simcard::Card &card = powered_card();
    const auto leaf_of = [&](const char *prefix) {
        return card.find(*simcard::parse_prefix(prefix, 0));
    };
    for (const char *prefix : {"10.0.0.0/8", "10.1.0.0/16", "10.1.2.0/24", "10.1.3.0/24"}) {
        ASSERT_EQ(card.add(prefix), simcard::card_ok);
    }
    const leaf *const first = leaf_of("10.1.2.0/24");
    const leaf *const second = leaf_of("10.1.3.0/24");
    card.flush();
    card.flush();
    ASSERT_EQ(card.banks().waiting(), 0U);
    ASSERT_EQ(card.remove("10.1.2.0/24"), simcard::card_ok);
    ASSERT_EQ(card.remove("10.1.3.0/24"), simcard::card_ok);
    const size_t waiting = card.banks().waiting();
    EXPECT_GT(waiting, 0U);
    card.flush();
    EXPECT_EQ(card.banks().waiting(), waiting) << "a node may be read until the second tick";
    card.flush();
    EXPECT_EQ(card.banks().waiting(), 0U);
    ASSERT_EQ(card.add("10.9.0.0/16"), simcard::card_ok);
    ASSERT_EQ(card.add("10.8.0.0/16"), simcard::card_ok);
    EXPECT_EQ(leaf_of("10.9.0.0/16"), first);
    EXPECT_EQ(leaf_of("10.8.0.0/16"), second);
}

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
