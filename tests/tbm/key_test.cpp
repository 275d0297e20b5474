#include "tbm/key.h"

#include <gtest/gtest.h>

#include "tbm/access.h"

TEST(Key, Ipv6ArgumentsAreVrfAndLengthAndCutTheAddress) {
    const struct {
        uint64_t argument;
        int vrf, length;
        uint8_t byte_5, byte_15;
    } cases[] = {{5064, 5, 64, 0xbb, 0},
                 {1200, 1, 128, 0xbb, 0x88},
                 {1300, 1, 44, 0xb0, 0},
                 {0, 0, 0, 0, 0},
                 {65535127, 65535, 127, 0xbb, 0x88}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.argument);
        pfx_entry entry;
        pfx_entry_build_v6(entry, 0x20010db8aabbccddU, 0x1122334455667788U, c.argument);
        EXPECT_EQ(pfx_entry_vrf(entry), c.vrf);
        EXPECT_EQ(entry.length(), c.length);
        EXPECT_EQ(entry.address[5], c.byte_5);
        EXPECT_EQ(entry.address[15], c.byte_15);
    }
}
