// The card on damaged records: it refuses them with a code, changes nothing then, and never falls.

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <set>

#include "simcard/card.h"
#include "tests/simcard/card_state.h"
#include "tests/support/damage.h"
#include "tests/support/random_table.h"

using namespace simcard;

namespace {

// A sanitizer makes all this ten times as slow.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t damage_step = 101;
constexpr int rounds = 20;
#else
constexpr size_t damage_step = 17;    // 1 takes half a minute
constexpr int rounds = 150;
#endif

/// Distinct prefixes: `prefixes` in the table, then those that a change adds.
constexpr size_t prefixes = 120;
constexpr size_t additions = 12;
constexpr size_t removal_step = 12;

std::vector<pfx_entry> distinct_prefixes() {
    std::vector<pfx_entry> distinct;
    std::set<Key> seen;
    for (const pfx_entry &entry : random_table(300, 5)) {
        if (distinct.size() < prefixes + additions && seen.insert(*key_of(entry)).second) {
            distinct.push_back(entry);
        }
    }
    return distinct;
}

Key address_key(const pfx_entry &entry) {
    Key key = *key_of(entry);
    key.bits = key.ipv6() ? tbm_key_bits_max : tbm_header_bits + 32;
    return key;
}

class DamagedCard : public testing::Test {
protected:
    DamagedCard() {
        prctl(PR_SET_THP_DISABLE, 1, 0, 0,
              0);    // clearing large pages would cost most of the time
        power_on();
    }

    void power_on() {
        card = &fresh_card(4);
        for (const pfx_entry &entry : table) {
            ASSERT_EQ(card->add(entry), card_ok);
        }
        sound = state_of(*card);
        pools.assign(card->fixed().plu.phu.pool_alloc, card->fixed().plu.phu.pool_alloc + 4);
        matches.clear();
        for (const pfx_entry &entry : table) {
            matches.push_back(*card->search(address_key(entry)).best);
        }
        map = map_damage(card->fixed().plu_shm);
    }

    /// Searches everything; on a card with one wrong pointer no answer is wrong.
    void search_all(bool exact) {
        for (size_t i = 0; i < prefixes; ++i) {
            SearchResult result;
            leaf *found = nullptr;
            const uint32_t code = card->search(address_key(table[i]), result);
            const uint32_t find_code = card->find(table[i], found);
            if (exact) {
                EXPECT_TRUE(code == card_damaged ||
                            memcmp(result.best, &matches[i], sizeof(leaf)) == 0)
                    << prefix_text(*key_of(table[i])) << " level " << int{result.level};
                EXPECT_TRUE(find_code == card_damaged || found != nullptr);
            }
            refused += code == card_damaged ? 1 : 0;
        }
        EXPECT_EQ(card->prefixes(), prefixes);
    }

    /// Makes every change and takes back what was accepted, as far as the card accepts that, too.
    void change_all() {
        for (const pfx_entry &entry : added) {
            note(card->add(entry), [&] { return card->remove(entry); });
        }
        for (size_t i = 0; i < prefixes; i += removal_step) {
            note(card->remove(table[i]), [this, i] { return card->add(table[i]); });
        }
        for (int tick = 0; tick < 3; ++tick) {
            card->fill_holes();
            card->flush();
        }
    }

    void note(uint32_t code, const std::function<uint32_t()> &inverse) {
        if (code == card_ok) {
            ++accepted;
            if (inverse() != card_ok) {
                left.push_back(inverse);
            }
        } else {
            EXPECT_EQ(code, card_damaged);
            ++refused;
        }
    }

    /// Takes back the rest, on the repaired card.
    void take_back() {
        for (; !left.empty(); left.pop_back()) {
            EXPECT_EQ(left.back()(), card_ok);
        }
    }

    void put_all_anew() {
        for (const pfx_entry &entry : table) {
            EXPECT_EQ(card->remove(entry), card_ok);
        }
        for (const pfx_entry &entry : table) {
            EXPECT_EQ(card->add(entry), card_ok);
        }
    }

    void expect_sound() {
        EXPECT_TRUE(state_of(*card) == sound);
        expect_hardware_sound(*card);
        const int64_t *now = card->fixed().plu.phu.pool_alloc;
        EXPECT_TRUE(std::equal(pools.begin(), pools.end(), now));
        EXPECT_EQ(card->prefixes(), prefixes);
    }

    const std::vector<pfx_entry> all = distinct_prefixes();
    const std::span<const pfx_entry> table{all.data(), prefixes};
    const std::span<const pfx_entry> added{all.data() + prefixes, additions};
    Card *card = nullptr;
    CardState sound;
    std::vector<int64_t> pools;
    std::vector<leaf> matches;
    damage_map map;
    size_t accepted = 0;
    size_t refused = 0;
    std::vector<std::function<uint32_t()>> left;    // changes not taken back yet
};

/// Values that the card derives from others, or only hands on: damage may spread to other values,
/// and heals when prefixes come and go.
bool is_derived(const damage_place &place) {
    static const std::set<std::string> fields = {"tn.hint_mask",       "tn.bmsf",
                                                 "tn.tn_nodes",        "tn.par_bl_larray",
                                                 "tn.par_bl_offset",   "tn.par_bl_len",
                                                 "tn.reserved106",     "leaf.key",
                                                 "leaf.key_bits_used", "phu.cfm_mask_count_limit"};
    return fields.contains(place.field);
}

/// What the card counts and shows, and never reads; and fields of internal nodes, which may have
/// gone and come back elsewhere.
bool is_unread(const damage_place &place) {
    const std::string field = place.field;
    return field.starts_with("phu.") || field.starts_with("bank.") ||
           field.starts_with("stride.") ||
           (field.starts_with("tn.") && place.where.ends_with("intern"));
}

}    // namespace

TEST_F(DamagedCard, EachDamagedFieldIsRefusedOrHarmlessAndNothingElseChanges) {
    size_t candidates = 0;
    size_t damages = 0;
    size_t power_ons = 0;
    for (size_t i = 0; i < map.places.size(); ++i) {
        for (const damage_kind &kind : damage_kinds) {
            if (kind.fits != map.places[i].kind || candidates++ % damage_step != 0) {
                continue;
            }
            const damage_place place = map.places[i];
            const auto value = damaged_value(kind, place, map);
            if (!value) {
                continue;
            }
            SCOPED_TRACE(std::string(place.field) + " at " + place.where + ": " + kind.name);
            ++damages;
            accepted = 0;
            bool stands = false;
            {
                const planted_damage damage(place, *value);
                search_all(place.kind == field_kind::pointer);
                change_all();
                stands = damage.stands();
            }
            take_back();
            const bool in_place = stands || (is_derived(place) && !is_unread(place));
            if (in_place && is_derived(place)) {
                put_all_anew();
            }
            if (in_place) {
                expect_sound();
            } else {
                EXPECT_TRUE(is_unread(place));
                power_on();
                ++power_ons;
            }
            if (accepted != 0) {
                map = map_damage(card->fixed().plu_shm);    // records came back elsewhere
            }
            if (HasFailure()) {
                return;
            }
        }
    }
    printf("%zu damages, %zu refusals, %zu new cards\n", damages, refused, power_ons);
    EXPECT_GT(refused, damages);
}

TEST_F(DamagedCard, ManyDamagesAtOnceNeverBringItDown) {
    std::mt19937_64 random(42);
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        std::vector<std::unique_ptr<planted_damage>> planted;
        for (uint64_t n = 2 + random() % 8; n > 0; --n) {
            const damage_place &place = map.places[random() % map.places.size()];
            const damage_kind &kind = damage_kinds[random() % damage_kinds.size()];
            if (const auto value = damaged_value(kind, place, map)) {
                planted.push_back(std::make_unique<planted_damage>(place, *value));
            }
        }
        accepted = 0;
        search_all(false);
        change_all();
        for (; !planted.empty(); planted.pop_back()) {
        }
        if (accepted == 0) {
            expect_sound();
        } else {
            left.clear();
            power_on();
        }
        if (HasFailure()) {
            return;
        }
    }
}
