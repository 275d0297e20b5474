#include "tbm/key.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int v4_address_bytes = 4;
constexpr int v6_address_bytes = 16;

/// The key is the entry's VRF and address bytes shifted right by the two family bits.
void shift_into_key(const uint8_t *vrf_and_address, int address_bytes, uint8_t family_bits,
                    uint8_t *key) {
    const int last = address_bytes + 2;
    key[0] = static_cast<uint8_t>(vrf_and_address[0] >> 2 | family_bits);
    for (int i = 1; i < last; ++i) {
        key[i] = static_cast<uint8_t>((vrf_and_address[i - 1] & 3) << 6 | vrf_and_address[i] >> 2);
    }
    key[last] = static_cast<uint8_t>((vrf_and_address[last - 1] & 3) << 6);
}

void store_vrf(pfx_entry &entry, uint16_t vrf) {
    entry.vrf[0] = static_cast<uint8_t>(vrf >> 8);
    entry.vrf[1] = static_cast<uint8_t>(vrf);
}

}    // namespace

void pfx_entry_to_tbm_key(const pfx_entry &entry, tbm_key &key) {
    uint8_t vrf_and_address[2 + v6_address_bytes];
    memcpy(vrf_and_address, entry.vrf, sizeof entry.vrf);
    memcpy(vrf_and_address + sizeof entry.vrf, entry.address, sizeof entry.address);
    if (entry.type == PFX_IPV6) {
        shift_into_key(vrf_and_address, v6_address_bytes, tbm_key_ipv6, key.bytes);
    } else if (entry.type == PFX_IPV4) {
        shift_into_key(vrf_and_address, v4_address_bytes, 0, key.bytes);
    } else {
        return;
    }
    key.key_bits_used = entry.length() + tbm_header_bits;
}

void tbm_key_to_pfx_entry(pfx_entry &entry, const uint8_t *key, uint32_t key_bits_used) {
    entry = {};
    if (key_bits_used == 0) {
        return;
    }
    store_vrf(entry, tbm_key_vrf(key));
    const bool v6 = tbm_key_is_ipv6(key);
    entry.type = v6 ? PFX_IPV6 : PFX_IPV4;
    for (int i = 0; i < (v6 ? v6_address_bytes : v4_address_bytes); ++i) {
        entry.address[i] = tbm_key_address_byte(key, i);
    }
    entry.set_length(key_bits_used < tbm_header_bits
                         ? 0
                         : static_cast<uint8_t>(key_bits_used - tbm_header_bits));
}

pfx_entry pfx_entry_build_v4(uint32_t address, uint8_t length, uint16_t vrf) {
    pfx_entry entry{};
    entry.type = PFX_IPV4;
    store_vrf(entry, vrf);
    for (int i = 0; i < v4_address_bytes; ++i) {
        entry.address[i] = static_cast<uint8_t>(address >> (24 - 8 * i));
    }
    entry.set_length(length);
    return entry;
}

void pfx_entry_build_v6(pfx_entry &entry, uint64_t high, uint64_t low, uint64_t vrf_and_length) {
    entry = {};
    entry.type = PFX_IPV6;
    const int64_t vrf = static_cast<int64_t>(vrf_and_length) / 1000;
    store_vrf(entry, static_cast<uint16_t>(vrf));
    const auto raw_length =
        static_cast<uint8_t>(vrf_and_length - 1000 * static_cast<uint64_t>(vrf));
    const uint8_t length = std::min<uint8_t>(raw_length, 128);
    entry.length_v6 = length;
    for (int q = 0; q < v6_address_bytes && q <= length / 8; ++q) {
        const uint64_t word = q < 8 ? high : low;
        entry.address[q] = static_cast<uint8_t>(word >> (56 - 8 * (q % 8)));
    }
    if (length < 128) {
        entry.address[length / 8] &= static_cast<uint8_t>(0xff00 >> (length % 8));
    }
}
