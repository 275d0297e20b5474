// Random prefix tables for tests: both families, several VRFs, deep nesting, the same for one seed.
#pragma once

#include <random>
#include <vector>

#include "simcard/prefix.h"

/// `count` prefixes, some of them twice. About every second one nests below an earlier one.
inline std::vector<pfx_entry> random_table(size_t count, uint64_t seed) {
    std::mt19937_64 random(seed);
    std::vector<pfx_entry> table;
    const auto below = [&](uint64_t n) { return random() % n; };
    while (table.size() < count) {
        pfx_entry entry{};
        if (!table.empty() && below(2) == 0) {
            entry = table[below(table.size())];    // same start, longer
        } else {
            entry.type = below(3) == 0 ? PFX_IPV6 : PFX_IPV4;
            entry.vrf[1] = static_cast<uint8_t>(below(4) == 0 ? 1 + below(70) : 0);
        }
        const bool v6 = entry.type == PFX_IPV6;
        const uint8_t longest = v6 ? 128 : 32;
        const uint8_t from = entry.length();
        const auto length = static_cast<uint8_t>(
            from + below(std::min<uint64_t>(longest - from + 1U, below(3) == 0 ? 33 : 9)));
        for (uint32_t bit = from; bit < length; ++bit) {
            const auto mask = static_cast<uint8_t>(0x80 >> (bit % 8));
            entry.address[bit / 8] =
                static_cast<uint8_t>((entry.address[bit / 8] & ~mask) | (below(3) == 0 ? mask : 0));
        }
        if (!v6) {
            entry.address[4] = 0;
        }
        entry.set_length(length);
        table.push_back(entry);
    }
    return table;
}

/// One prefix of 26 to 32 bits in each /20: more nodes for the hardware than banks hold.
inline std::vector<pfx_entry> dense_table(uint32_t count) {
    std::vector<pfx_entry> table(count);
    for (uint32_t i = 0; i < count; ++i) {
        table[i].type = PFX_IPV4;
        const uint32_t address = i << 12 | 0x40;
        for (int byte = 0; byte < 4; ++byte) {
            table[i].address[byte] = static_cast<uint8_t>(address >> (24 - 8 * byte));
        }
        table[i].set_length(static_cast<uint8_t>(26 + i % 7));
    }
    return table;
}
