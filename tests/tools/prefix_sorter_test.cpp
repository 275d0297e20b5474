#include "tools/plu_debug/prefix_sorter.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace client {
namespace {

std::vector<table_prefix> sorted(const std::vector<table_prefix> &prefixes, size_t chunk) {
    prefix_sorter sorter(chunk);
    for (const table_prefix &prefix : prefixes) {
        EXPECT_TRUE(sorter.add(prefix));
    }
    EXPECT_TRUE(sorter.finish());
    std::vector<table_prefix> result;
    while (const auto prefix = sorter.next()) {
        result.push_back(*prefix);
    }
    return result;
}

}    // namespace

TEST(PrefixSorter, GivesEachPrefixOnceInOrderWhateverTheMemory) {
    std::mt19937 random(20240501);
    std::vector<table_prefix> prefixes(1000);
    for (table_prefix &prefix : prefixes) {
        prefix.vrf = static_cast<uint16_t>(random() % 3);
        prefix.family = random() % 2 == 0 ? 4 : 6;
        prefix.address[0] = static_cast<unsigned char>(random() % 16);
        prefix.length = static_cast<uint8_t>(random() % 8);
    }
    const std::set<table_prefix> unique(prefixes.begin(), prefixes.end());
    const std::vector<table_prefix> expected(unique.begin(), unique.end());
    for (const size_t chunk : {1, 7, 250, 1000, 5000}) {
        EXPECT_EQ(sorted(prefixes, chunk), expected) << chunk;
    }
    EXPECT_TRUE(sorted({}, 10).empty());
}

TEST(PrefixSorter, ReadsRecordingsAndTables) {
    EXPECT_EQ(table_text(*parse_table_line("A U6 2001:db8::/32 65535 #")),
              "U6 2001:db8::/32 65535");
    EXPECT_EQ(table_text(*parse_table_line("10.1.2.0/24  # no VRF")), "U4 10.1.2.0/24 0");
    for (const char *line : {"", "#", "A", "A U4", "10.1.2.0", "10.1.2.0/33", "10.1.2.0/24 65536",
                             "10.1.2.0/24 x", "10.1.2.0/24 1 2", "::/129", "10.1.2/24"}) {
        EXPECT_FALSE(parse_table_line(line)) << line;
    }
}

}    // namespace client
