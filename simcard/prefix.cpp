#include "simcard/prefix.h"

#include <arpa/inet.h>

namespace simcard {

namespace {

void clear_below(uint8_t *bytes, uint32_t size, uint32_t bits) {
    for (uint32_t i = bits / 8; i < size; ++i) {
        bytes[i] &= i == bits / 8 ? static_cast<uint8_t>(0xff00 >> (bits % 8)) : uint8_t{0};
    }
}

}    // namespace

std::optional<Key> key_of(const pfx_entry &entry) {
    const bool v6 = entry.type == PFX_IPV6;
    if ((!v6 && entry.type != PFX_IPV4) || entry.length() > (v6 ? 128 : 32)) {
        return std::nullopt;
    }
    Key key;
    key.bits = tbm_header_bits + entry.length();
    uint8_t source[18];
    memcpy(source, entry.vrf, 2);
    memcpy(source + 2, entry.address, 16);
    clear_below(source, sizeof source, 16U + entry.length());
    uint32_t carry = v6 ? 1 : 0;
    for (uint32_t i = 0; i < sizeof source; ++i) {
        carry = carry << 8 | source[i];
        key.bytes[i] = static_cast<uint8_t>(carry >> 2);
    }
    key.bytes[sizeof source] = static_cast<uint8_t>(carry << 6);
    return key;
}

pfx_entry entry_of(const table::prefix &prefix) {
    pfx_entry entry{};
    entry.type = prefix.family == 6 ? PFX_IPV6 : PFX_IPV4;
    entry.vrf[0] = static_cast<uint8_t>(prefix.vrf >> 8);
    entry.vrf[1] = static_cast<uint8_t>(prefix.vrf);
    memcpy(entry.address, prefix.address.data(), prefix.address.size());
    entry.set_length(prefix.length);
    return entry;
}

std::optional<pfx_entry> parse_prefix(std::string_view text, uint16_t vrf) {
    const auto prefix = table::parse_prefix(text, vrf);
    return prefix ? std::optional(entry_of(*prefix)) : std::nullopt;
}

std::string prefix_text(const Key &key) {
    uint8_t address[16];
    for (int i = 0; i < 16; ++i) {
        address[i] = static_cast<uint8_t>(key.bytes[i + 2] << 2 | key.bytes[i + 3] >> 6);
    }
    char text[INET6_ADDRSTRLEN];
    inet_ntop(key.ipv6() ? AF_INET6 : AF_INET, address, text, sizeof text);
    return std::string(text) + "/" + std::to_string(key.bits - tbm_header_bits);
}

}    // namespace simcard
