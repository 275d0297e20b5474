// The narrated search against the true longest match.

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
