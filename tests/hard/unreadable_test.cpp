// Every pointer of a card's tree in turn leads nowhere: each whole-tree command answers as on the
// same card without what hangs there, and names the address.
#include <gtest/gtest.h>

#include <memory>

#include "checks/commands.h"
#include "phu/commands.h"
#include "tbm/commands.h"
#include "tests/card/powered_card.h"
#include "tests/support/capture.h"
#include "tests/support/damage.h"
#include "tests/support/random_table.h"
#include "tests/support/text.h"

namespace {

constexpr bool whole = false;    // every place with every kind: half a minute
constexpr uint64_t unmapped = 0x7eb800000000;
constexpr uint64_t non_canonical = 0x8000000000000;
constexpr uint64_t all_ones = ~uint64_t{0};

using command = void (*)(uint64_t, uint64_t, uint64_t);
struct command_form {
    const char *name;
    command run;
    uint64_t a1;
    uint64_t a2;
};
constexpr command_form whole_tree_forms[] = {
    {"walk", cmd_walk, 0, 0},
    {"walk leaves", cmd_walk, 1, 0},
    {"walk record", cmd_walk, 11, 0},
    {"walk nodes", cmd_walk, 0, 1},
    {"cntpfx", cmd_cntpfx, 0, 0},
    {"hwidxwalk", cmd_hwidxwalk, 0, 0},
    {"hwidxwalk 1", cmd_hwidxwalk, 1, 0},
    {"hwidxwalk 11", cmd_hwidxwalk, 11, 0},
    {"hwdis", cmd_hwdis, 0, 0},
    {"ckbmsf", cmd_ckbmsf, 0, 0},
    {"ckbank", cmd_ckbank, 1, 0},
    {"ckhmask", cmd_ckhmask, 0, 0},
    {"ckparbl", cmd_ckparbl, 0, 0},
    {"cklkuphw", cmd_cklkuphw, 0, 0},
    {"rootsn", cmd_rootsn, 0, 0},
};

/// Records that hold nothing, in the place of those that cannot be read.
struct nothing {
    tn *slots[1] = {};
    tree_array children{0, 0, 0, slots};
    leaf_array leaves{};
    tbm_handle_record handle{};

    nothing() { handle.tbdb_root = &children; }
};

using changes = std::vector<std::pair<damage_place, uint64_t>>;

/// What makes a place read as empty, as the commands must take one that cannot be read; nothing for
/// a place that no whole-tree command follows.
changes emptied(const damage_place &place, const nothing &none) {
    const std::string field = place.field;
    const auto pointer = [&](const void *to) { return changes{{place, number(to)}}; };
    const auto count_before = [&](size_t distance, uint8_t size) {
        damage_place count = place;
        count.at = static_cast<char *>(place.at) - distance;
        count.size = size;
        return changes{{count, uint64_t{0}}, {place, number(none.slots)}};
    };
    if (field == "root slot" || field == "child slot" || field == "leaf slot") {
        return pointer(nullptr);
    }
    if (field == "handle.tbdb_root" || field == "tn.sn_charray") {
        return pointer(&none.children);
    }
    if (field == "tn.in_lfarray" || field == "tn.par_bl_larray") {
        return pointer(&none.leaves);
    }
    if (field == "phu.tbm_handle") {
        return pointer(&none.handle);
    }
    if (field == "root.ta_nodes" || field == "child array.ta_nodes") {
        return count_before(offsetof(tree_array, ta_nodes), sizeof(int16_t));
    }
    if (field == "leaf array.la_leaves") {
        return count_before(offsetof(leaf_array, la_leaves), sizeof(int32_t));
    }
    return {};
}

std::string without(std::string text, const std::string &what) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what)) {
        text.erase(at, what.size());
    }
    return text;
}

/// The text with a planted address, where it stands whole, replaced by a name.
std::string with_name(std::string text, uint64_t address) {
    const std::string digits = format("0x%lx", address);
    for (size_t at = text.find(digits); at != std::string::npos; at = text.find(digits, at + 1)) {
        if (isxdigit(static_cast<unsigned char>(text[at + digits.size()])) == 0) {
            text.replace(at, digits.size(), "PLANTED");
        }
    }
    return text;
}

struct UnreadablePlaces : testing::Test {
    simcard::Card &card = powered_card();
    nothing none;

    void SetUp() override {
        for (const pfx_entry &entry : random_table(120, 3)) {
            (void)card.add(entry);
        }
    }

    /// What the commands answer, the addresses that a test plants made equal.
    std::string reply(const command_form &form, uint64_t planted) const {
        const std::string text = captured([&] { form.run(form.a1, form.a2, 0); });
        return with_name(with_name(text, planted), number(&none.leaves));
    }

    std::vector<std::string> replies(uint64_t planted) const {
        std::vector<std::string> all;
        for (const command_form &form : whole_tree_forms) {
            all.push_back(reply(form, planted));
        }
        return all;
    }

    /// Holds every command against its reply on the card whose place is empty.
    void compare(const damage_place &place, uint64_t planted, const std::vector<std::string> &sound,
                 const std::vector<std::string> &empty) {
        const planted_damage damage(place, planted);
        const std::string line = "address PLANTED is not readable\n";
        for (size_t i = 0; i < std::size(whole_tree_forms); ++i) {
            const std::string answer = reply(whole_tree_forms[i], planted);
            ASSERT_EQ(without(answer, line), empty[i])
                << whole_tree_forms[i].name << ": " << place.field << " at " << place.where << ", "
                << planted;
            ASSERT_LE(occurrences(answer, line), 1U) << whole_tree_forms[i].name;
            ASSERT_TRUE(empty[i] == sound[i] || occurrences(answer, line) == 1)
                << whole_tree_forms[i].name << " does not say why it differs: " << place.field
                << " at " << place.where << ", " << planted << "\n"
                << answer;
            ++compared;
        }
    }

    size_t compared = 0;
};

TEST_F(UnreadablePlaces, CountAsEmptyAndAreNamed) {
    const damage_map map = map_damage(card.fixed().plu_shm);
    const std::vector<std::string> sound = replies(all_ones);
    size_t turn = 0;
    for (const damage_place &place : map.places) {
        const changes empty_place = emptied(place, none);
        if (empty_place.empty() || place.value() == 0) {
            continue;
        }
        std::vector<std::string> empty;
        {
            std::vector<std::unique_ptr<planted_damage>> as_empty;
            for (const auto &[changed, value] : empty_place) {
                as_empty.push_back(std::make_unique<planted_damage>(changed, value));
            }
            empty = replies(all_ones);
        }
        for (const uint64_t planted : {place.value() + 1, unmapped, non_canonical, all_ones}) {
            if (turn++ % 5 == 0 || whole) {
                compare(place, planted, sound, empty);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
    printf("%zu replies compared\n", compared);
    EXPECT_GT(compared, 5000U);
}

}    // namespace
