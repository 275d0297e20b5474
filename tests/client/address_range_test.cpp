#include "client/tables/address_range.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<address_prefix> split(const address_range &range) {
    std::vector<address_prefix> prefixes;
    split_range(range, [&](const address_prefix &prefix) { prefixes.push_back(prefix); });
    return prefixes;
}

std::string split_text(const char *line) {
    std::string text;
    for (const address_prefix &prefix : split(*parse_range(line))) {
        text += prefix_text(prefix) + ' ';
    }
    return text;
}

// Walks the prefixes address by address: each one is aligned, starts where the one before ended,
// and no two neighbours could have been one prefix.
void expect_exact_cover(const address_range &range) {
    address_number next = range.first;
    const auto prefixes = split(range);
    for (size_t i = 0; i < prefixes.size(); ++i) {
        const address_number size = address_number{1} << (range.width - prefixes[i].length);
        ASSERT_TRUE(prefixes[i].address == next);
        ASSERT_TRUE(next % size == 0);
        next += size;
        const bool mergeable = i > 0 && prefixes[i - 1].length == prefixes[i].length &&
                               prefixes[i - 1].address % (2 * size) == 0;
        ASSERT_FALSE(mergeable);
    }
    ASSERT_TRUE(next == range.last + 1);
}

}    // namespace

TEST(AddressRange, PrefixesCoverEveryRangeExactly) {
    const address_number bases[] = {0, address_number{10} << 24, (address_number{1} << 32) - 65};
    for (const address_number base : bases) {
        for (unsigned first = 0; first < 64; ++first) {
            for (unsigned last = first; last < 64; ++last) {
                expect_exact_cover({32, base + first, base + last});
                expect_exact_cover({128, (base << 90) + first, (base << 90) + last});
            }
        }
    }
}

TEST(AddressRange, EndsOfTheAddressSpace) {
    EXPECT_EQ(split_text("0,4294967295,XX"), "0.0.0.0/0 ");
    EXPECT_EQ(split_text("4294967295,4294967295,XX"), "255.255.255.255/32 ");
    EXPECT_EQ(split_text("::,ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff,XX"), "::/0 ");
    EXPECT_EQ(split_text("ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe,"
                         "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff,XX"),
              "ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe/127 ");
}

TEST(AddressRange, RangesOfBothFamilies) {
    EXPECT_EQ(split_text("16777472,16778239,CN"), "1.0.1.0/24 1.0.2.0/23 ");
    EXPECT_EQ(split_text("10.0.0.1,10.0.0.2"), "10.0.0.1/32 10.0.0.2/32 ");
    EXPECT_EQ(split_text("2001:200:135::,2001:200:136:ffff:ffff:ffff:ffff:ffff,US"),
              "2001:200:135::/48 2001:200:136::/48 ");
}

TEST(AddressRange, OtherLinesAreNoRange) {
    for (const char *line :
         {"", "1", "1,", ",1", "2,1,XX", "1,x,XX", "1,4294967296,XX", "-1,2,XX", "1,::1,XX",
          "1.2.3,1.2.3.4,XX", "1.2.3.4.5,1.2.3.4.5", "2001::g,2001::"}) {
        EXPECT_FALSE(parse_range(line)) << line;
    }
}
