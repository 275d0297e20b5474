#include "reply/text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tbm/key.h"
#include "tests/support/page_end.h"

namespace {

tbm_key key_of(uint64_t high, uint64_t low, uint32_t length) {
    pfx_entry entry;
    pfx_entry_build_v6(entry, high, low, 128);
    tbm_key key{};
    pfx_entry_to_tbm_key(entry, key);
    key.key_bits_used = tbm_header_bits + length;
    return key;
}

std::string v6_text(uint64_t high, uint64_t low, uint32_t size = 128) {
    pfx_entry entry;
    pfx_entry_build_v6(entry, high, low, 128);
    char text[128] = "untouched";
    ipv6_addr_str(entry.address, text, size);
    return text;
}

}    // namespace

TEST(Text, Ipv6Compression) {
    struct {
        uint64_t high, low;
        const char *text;
    } const cases[] = {
        {0, 0, "::"},
        {0, 2, "::2"},
        {0, 0x10000, "::0.1.0.0"},
        {0, 0x0000ffff0a000001, "::ffff:10.0.0.1"},
        {0, 0x0000fffe0a000001, "::fffe:a00:1"},
        {0, 0x000000000a000001, "::10.0.0.1"},
        {0, 0xffff0a0000010000, "::ffff:a00:1:0"},
        {0x0000000000010000, 0x0000000100000000, "::1:0:0:1:0:0"},
        {0x0001000000010000, 0x0001000000010000, "1:0:1:0:1:0:1:0"},
        {0x0001000000000001, 0x0000000000000001, "1:0:0:1::1"},
        {0x20010db8000a0000, 0, "2001:db8:a::"},
        {0xffffffffffffffff, 0xffffffffffffffff, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        {0x0123456789abcdef, 0x0010010010000000, "123:4567:89ab:cdef:10:100:1000:0"},
        {0x0001000200030004, 0x0005000600000000, "1:2:3:4:5:6::"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(v6_text(c.high, c.low), c.text);
    }
}

TEST(Text, AddressThatDoesNotFitLeavesDestinationUntouched) {
    EXPECT_EQ(v6_text(0x20010db8000a0000, 0, 12), "untouched");
    EXPECT_EQ(v6_text(0x20010db8000a0000, 0, 13), "2001:db8:a::");
    const uint8_t address[16] = {10, 200, 0, 255};
    char text[32] = "untouched";
    EXPECT_EQ(ipv4_addr_str(address, text, 12), nullptr);
    EXPECT_STREQ(text, "untouched");
    EXPECT_EQ(ipv4_addr_str(address, text, 13), text);
    EXPECT_STREQ(text, "10.200.0.255");
}

TEST(Text, PrefixShowsAddressAndSignedLength) {
    tbm_key v4{};
    pfx_entry_to_tbm_key(pfx_entry_build_v4(0x0a0102ff, 24, 0xffff), v4);
    const tbm_key zero{};
    struct {
        tbm_key key;
        uint32_t bits;
        const char *text;
    } const cases[] = {
        {v4, 0, "0/0"},
        {v4, 42, "10.1.2.255/24"},
        {v4, 16, "10.1.2.255/-2"},
        {v4, 0xffffffff, "10.1.2.255/-19"},
        {zero, 18, "0.0.0.0/0"},
        {key_of(0, 0, 0), 18, "::/0"},
        {key_of(0x20010db800000000, 0, 32), 50, "2001:db8::/32"},
        {key_of(0, 0x0000ffff0a000001, 128), 146, "::ffff:10.0.0.1/128"},
    };
    for (const auto &c : cases) {
        EXPECT_STREQ(tbmd_key_str(c.key.bytes, c.bits), c.text);
    }
}

TEST(Text, StrideGroupsAreCutAtTheBufferNotBehindIt) {
    tbm_key key{};
    pfx_entry_to_tbm_key(pfx_entry_build_v4(0xfc1043c3, 32, 0), key);
    EXPECT_STREQ(phu_key_stride_str(key.bytes, 6), "0.0.0.63.1.1.3.48.48");
    const tbm_key full = key_of(~uint64_t{0}, ~uint64_t{0}, 128);
    auto *const exact = before_page_end<uint8_t>(tbm_key_bytes);
    memcpy(exact, full.bytes, tbm_key_bytes);
    EXPECT_STREQ(tbmd_key_str(exact, 146), "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128");
    // 146 key bits are 24 whole groups and 2 bits of the next one.
    EXPECT_TRUE(std::string(phu_key_stride_str(exact, 24)).ends_with(".63.48.0.0"));
    key = key_of(0, 0, 128);
    for (const uint32_t n : {600U, 0x20000000U}) {
        const std::string text = phu_key_stride_str(key.bytes, n);
        EXPECT_LE(text.size(), 998U);
        EXPECT_EQ(text.substr(0, 10), "16.0.0.0.0");
    }
    EXPECT_EQ(strlen(phu_key_stride_str(key.bytes, 600)), 998U);
}

TEST(Text, WalkPathStopsAtTheTablesEnd) {
    for (int i = 0; i < phu_pfx_entries; ++i) {
        phu_pfx[i] = static_cast<uint8_t>(240 + i);
    }
    phu_pfx[0] = 3;
    phu_pfx[1] = 17;
    phu_pfx_to_str(1);
    EXPECT_STREQ(phu_pfx_str, "3.17");
    phu_pfx_to_str(23);
    const std::string all = phu_pfx_str;
    EXPECT_EQ(all.substr(0, 8), "3.17.242");
    phu_pfx_to_str(0xffffffff);
    EXPECT_EQ(all, phu_pfx_str);
}
