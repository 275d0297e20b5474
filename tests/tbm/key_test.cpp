#include <gtest/gtest.h>

#include "tbm/access.h"
#include "tbm/key.h"

TEST(Key, Ipv6EntryFromArguments) {
    pfx_entry entry;
    const uint64_t high = 0x20010db8aabbccddU;
    const uint64_t low = 0x1122334455667788U;
    struct {
        uint64_t argument;
        int vrf;
        int length;
        uint64_t last_kept_byte;
    } const cases[] = {{5064, 5, 64, 7}, {1200, 1, 128, 15}, {1300, 1, 44, 5}, {0, 0, 0, 0}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.argument);
        pfx_entry_build_v6(entry, high, low, c.argument);
        EXPECT_EQ(pfx_entry_vrf(entry), c.vrf);
        EXPECT_EQ(entry.length(), c.length);
        for (uint64_t i = c.last_kept_byte + 1; i < 16; ++i) {
            EXPECT_EQ(entry.address[i], 0) << i;
        }
    }
    pfx_entry_build_v6(entry, high, low, 1300);
    EXPECT_EQ(entry.address[5], 0xb0);    // 44 bits: the upper half of byte 5
}

TEST(Key, EntryAndKeyConvertBothWays) {
    pfx_entry v6;
    pfx_entry_build_v6(v6, 0xffffffffffffffffU, 0xfffffffffffffffeU, 65535U * 1000 + 127);
    for (const pfx_entry &entry : {pfx_entry_build_v4(0xdeadbeef, 32, 0xabcd), v6}) {
        tbm_key key{};
        pfx_entry_to_tbm_key(entry, key);
        EXPECT_EQ(tbm_key_vrf(key.bytes), pfx_entry_vrf(entry));
        pfx_entry back;
        tbm_key_to_pfx_entry(back, key.bytes, key.key_bits_used);
        EXPECT_EQ(memcmp(&back, &entry, sizeof entry), 0);
    }
}
