// A recording gives back exactly what was loaded, through any changes, and feeds the next card.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "phu/commands.h"
#include "simcard/table_file.h"
#include "tests/card/powered_card.h"
#include "tests/support/random_table.h"

namespace {

std::vector<std::string> recording() {
    std::vector<std::string> lines = captured_pieces([] { cmd_walk(11, 0, 0); });
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::vector<std::string> expected(const TableModel &model) {
    std::vector<std::string> lines;
    for (const auto &[key, entry] : model.entries()) {
        lines.push_back(std::string("A ") + (key.ipv6() ? "U6 " : "U4 ") + prefix_text(key) + " " +
                        std::to_string(vrf_of(key)) + " #\n");
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

}    // namespace

TEST(Recording, GivesTheLoadedSetBackThroughTenThousandChanges) {
    simcard::Card &card = powered_card();
    TableModel model;
    model.load(card, random_table(20000, 31));
    EXPECT_EQ(recording(), expected(model));

    const std::vector<pfx_entry> changes = random_table(8000, 32);
    std::mt19937_64 random(33);
    for (int i = 0; i < 10000; ++i) {
        ASSERT_TRUE(model.toggle(card, changes[random() % changes.size()]));
    }
    const std::vector<std::string> first = recording();
    EXPECT_EQ(first, expected(model));

    std::vector<pfx_entry> replay;
    for (const std::string &line : first) {
        const simcard::TableLine parsed =
            simcard::parse_table_line(std::string_view(line).substr(0, line.size() - 1));
        ASSERT_EQ(parsed.kind, simcard::TableLine::prefix) << line;
        replay.push_back(parsed.entry);
    }
    powered_card().load(replay);
    EXPECT_EQ(recording(), first);
}
