// The stand-in card against brute force and against a card built afresh.

#include "simcard/card.h"

#include <gtest/gtest.h>

#include <map>

#include "simcard/length_set.h"
#include "tests/card/powered_card.h"
#include "tests/simcard/card_state.h"
#include "tests/support/damage.h"
#include "tests/support/random_table.h"

using namespace simcard;

TEST(Card, RefusesWithACodeAndChangesNothing) {
    Card &card = fresh_card();
    ASSERT_EQ(card.add("10.0.0.0/8"), card_ok);
    const CardState before = state_of(card);
    EXPECT_EQ(card.add("10.255.0.0/8"), card_exists);    // host bits do not make it another prefix
    EXPECT_EQ(card.remove("10.0.0.0/9"), card_absent);
    EXPECT_EQ(card.remove("10.0.0.0/8", 1), card_absent);
    pfx_entry entry = *parse_prefix("10.0.0.0/8", 0);
    entry.set_length(33);
    EXPECT_EQ(card.add(entry), card_bad_entry);
    EXPECT_EQ(card.remove(entry), card_bad_entry);
    entry.type = 3;
    EXPECT_EQ(card.add(entry), card_bad_entry);
    EXPECT_EQ(state_of(card), before);
    EXPECT_EQ(card.prefixes(), 1U);
}

TEST(Card, AddAndRemoveLeaveThePoolsAsTheyWere) {
    Card &card = fresh_card();
    card.load(random_table(500, 3));
    const auto figures = [&] {
        const phu_context &phu = card.fixed().plu.phu;
        return std::vector<int64_t>{phu.pool_alloc[0], phu.pool_alloc[1], phu.pool_alloc[2],
                                    phu.pool_bytes[0], phu.pool_bytes[1], phu.pool_bytes[2],
                                    phu.alloc_byte};
    };
    const auto before = figures();
    for (const char *prefix : {"203.0.113.77/32", "2001:db8:ffff::1/128", "203.0.0.0/9", "::/0"}) {
        ASSERT_EQ(card.add(prefix, 4000), card_ok);
        EXPECT_NE(figures(), before);
        ASSERT_EQ(card.remove(prefix, 4000), card_ok);
        EXPECT_EQ(figures(), before) << prefix;
    }
}

namespace {

/// What each record of the tree is.
std::map<const void *, size_t> kinds_of(Card &card) {
    const damage_map map = map_damage(card.fixed().plu_shm);
    std::map<const void *, size_t> kinds;
    for (auto kind = static_cast<size_t>(record_kind::child_array); kind < record_kinds; ++kind) {
        for (const void *record : map.records[kind]) {
            kinds[record] = kind;
        }
    }
    return kinds;
}

}    // namespace

TEST(Card, MemoryIsUsedAgainForTheSameKindOnly) {
    Card &card = fresh_card();
    card.load(random_table(2000, 5));
    const auto before = kinds_of(card);
    for (const pfx_entry &entry : random_table(2000, 5)) {
        card.remove(entry);
    }
    ASSERT_EQ(card.prefixes(), 0U);
    card.load(random_table(3000, 6));
    size_t reused = 0;
    for (const auto &[address, kind] : kinds_of(card)) {
        if (const auto old = before.find(address); old != before.end()) {
            ++reused;
            EXPECT_EQ(kind, old->second);
        }
    }
    EXPECT_GT(reused, 1000U);
}

class CardUnderLimit : public testing::TestWithParam<int> {};

TEST_P(CardUnderLimit, StaysWhatAFreshCardWouldBeThroughAddsAndRemoves) {
    Card &card = fresh_card(static_cast<uint8_t>(GetParam()));
    const std::vector<pfx_entry> table = random_table(3000, 7);
    std::mt19937_64 random(11);
    TableModel model;
    for (int round = 0; round < 6000; ++round) {
        ASSERT_TRUE(model.toggle(card, table[random() % table.size()]));
        if (round % 50 == 0) {
            card.flush();
        }
        if (round % 1500 == 1499) {
            expect_hardware_sound(card);
        }
    }
    const CardState after = state_of(card);
    const int64_t unhinted = card.mirror().unhinted();
    card.flush();
    card.flush();
    const int32_t used = card.fixed().plu.phu.bank_node_used;

    for (int probe = 0; probe < 3000; ++probe) {    // near misses around stored prefixes
        const auto nth = static_cast<long>(random() % model.entries().size());
        Key address = std::next(model.entries().begin(), nth)->first;
        const uint32_t width = address.ipv6() ? 146 : 50;
        if (probe % 3 != 0) {
            flip_bit(address, tbm_header_bits + static_cast<uint32_t>(random() % (width - 18)));
        }
        address.bits = width;
        const Key expected = model.longest_match(address);
        const SearchResult found = card.search(address);
        ASSERT_EQ(found.best == nullptr, expected.bits == 0);
        if (found.best != nullptr) {
            EXPECT_EQ(found.best->key_bits_used, expected.bits);
            EXPECT_EQ(memcmp(found.best->key, expected.bytes, tbm_key_bytes), 0);
        }
    }

    std::vector<pfx_entry> entries;
    for (const auto &[key, entry] : model.entries()) {
        entries.push_back(entry);
    }
    fresh_card(static_cast<uint8_t>(GetParam()));
    EXPECT_EQ(card.load(entries), model.entries().size());
    EXPECT_EQ(state_of(card), after);
    EXPECT_EQ(card.mirror().unhinted(), unhinted);
    EXPECT_EQ(card.fixed().plu.phu.bank_node_used, used);
    expect_hardware_sound(card);
}

INSTANTIATE_TEST_SUITE_P(MaskLimits, CardUnderLimit, testing::Values(2, 8, 128));

TEST(Card, RunsOutOfBanksWithoutRefusingAndFillsTheHolesLater) {
    Card &card = fresh_card(1);    // every second length of a subtree asks for hardware nodes
    const std::vector<pfx_entry> dense = dense_table(200000);
    EXPECT_EQ(card.load(dense), dense.size());
    EXPECT_GT(card.mirror().starved(), 0U);
    EXPECT_GT(card.mirror().unhinted(), 0);
    EXPECT_EQ(card.add("240.1.2.3/32"), card_ok);
    expect_hardware_sound(card);
    for (size_t i = 0; i < dense.size(); ++i) {
        if (i % 20 != 0) {
            ASSERT_EQ(card.remove(dense[i]), card_ok);
        }
    }
    for (int tick = 0; tick < 3; ++tick) {
        card.fill_holes();
        card.flush();
    }
    card.fill_holes();
    EXPECT_EQ(card.mirror().starved(), 0U);
    expect_hardware_sound(card);
}
