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
        }
        if (HasFailure()) {
            FAIL() << "after " << i << " changes";
        }
    }
}

TEST(Health, EveryCheckIsCleanWhenBanksRanOut) {
    simcard::CardOptions options;
    options.mask_limit = 1;
    simcard::Card &card = powered_card(options);
    TableModel model;
    std::vector<pfx_entry> dense = random_table(2000, 51);
    for (uint32_t i = 0; i < 120000; ++i) {
        dense.push_back(simcard::parse_prefix("0.0.0.0/32", 0).value());
        pfx_entry &entry = dense.back();
        for (int byte = 0; byte < 3; ++byte) {
            entry.address[byte] = static_cast<uint8_t>((i << 12 | 0x40) >> (24 - 8 * byte));
        }
        entry.set_length(static_cast<uint8_t>(26 + i % 7));
    }
    model.load(card, dense);
    ASSERT_GT(card.mirror().starved(), 0U);
    expect_healthy(model);
    EXPECT_GT(number_after(captured([] { cmd_dump(0, 0, 0); }), "bank node used:"), 100000);
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
