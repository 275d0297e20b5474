// The real table, whole: it loads, comes back exactly, is healthy, and stays so through 20,000
// changes.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <random>

#include "phu/commands.h"
#include "simcard/table_file.h"
#include "tests/card/health.h"
#include "tests/support/random_table.h"

namespace {

class RealTable : public testing::Test {
protected:
    void SetUp() override {
        for (const char *file : {REAL_TABLE, OWN_TABLE}) {
            if (!simcard::read_table(file, entries_).opened) {
                GTEST_SKIP() << file << " is missing: install tor-geoipdb and build again";
            }
        }
    }

    /// Loads the table; seconds and memory are bounded.
    void load(simcard::Card &card) {
        const auto begin = std::chrono::steady_clock::now();
        model_.load(card, entries_);
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        EXPECT_GT(model_.entries().size(), 1000000U);
        EXPECT_EQ(card.prefixes(), model_.entries().size());
        EXPECT_LT(elapsed.count(), 10);
        EXPECT_LT(usage.ru_maxrss, 2L << 20);    // KiB
    }

    void expect_lookups() {
        int sampled[2] = {};
        std::mt19937_64 random(81);
        for (const auto &[key, entry] : model_.entries()) {
            int &count = sampled[key.ipv6() ? 1 : 0];
            if (entry.length() != 0 && count < 10000 && random() % 50 == 0) {
                ++count;
                expect_hardware_names_match(key, entry);
            }
        }
        EXPECT_EQ(sampled[0], 10000);
        EXPECT_EQ(sampled[1], 10000);
        const Tally tally = compare_with_longest_match(model_, 10000);
        EXPECT_EQ(tally.errors, 0);
        EXPECT_LT(tally.shorter, 200);
        RecordProperty("shorter_covers", tally.shorter);
    }

    std::vector<pfx_entry> entries_;
    TableModel model_;
};

}    // namespace

TEST_F(RealTable, IsExactAndHealthyThroughTwentyThousandChangesAndBack) {
    simcard::Card &card = powered_card();
    load(card);
    ASSERT_FALSE(HasFailure());
    EXPECT_EQ(card.mirror().starved(), 0U);
    expect_recorded(model_);
    expect_healthy(model_);
    expect_sums_agree();
    expect_lookups();
    const std::string summary = reply_of(cmd_banksum);
    EXPECT_GT(std::count(summary.begin(), summary.end(), '\n'), 20) << summary;
    const int32_t used = phu_ctx->bank_node_used;

    std::vector<pfx_entry> changes = random_table(10000, 82);
    std::mt19937_64 random(83);
    while (changes.size() < 20000) {
        changes.push_back(entries_[random() % entries_.size()]);
    }
    for (const pfx_entry &entry : changes) {
        ASSERT_TRUE(model_.toggle(card, entry));
    }
    expect_recorded(model_);
    expect_healthy(model_);
    expect_sums_agree();
    for (auto entry = changes.rbegin(); entry != changes.rend(); ++entry) {
        ASSERT_TRUE(model_.toggle(card, *entry));
    }
    for (int tick = 0; tick < 10; ++tick) {    // what had no room for a moment is hinted again
        card.fill_holes();
        card.flush();
    }
    EXPECT_EQ(card.mirror().starved(), 0U);
    EXPECT_EQ(phu_ctx->bank_node_used, used);
    expect_recorded(model_);
}
