#include "reply/text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>

#include "platform/osag.h"
#include "records/key_bits.h"

extern "C" {
char tbmd_tmp_str[text_buffer_size] = {};
char phu_tmp_str[text_buffer_size] = {};
char phu_pfx_str[text_buffer_size] = {};
uint8_t phu_pfx[phu_pfx_entries] = {};
}

namespace {

constexpr size_t v4_text_size = 16;
constexpr size_t v6_text_size = 46;
constexpr size_t append_limit = text_buffer_size - 2;
constexpr int v6_groups = 8;

/// Decimal text of a byte.
struct decimal {
    char digits[3];
    uint8_t length;
};

constexpr std::array<decimal, 256> make_decimals() {
    std::array<decimal, 256> table{};
    for (int value = 0; value < 256; ++value) {
        decimal &entry = table[static_cast<size_t>(value)];
        for (int power = value >= 100 ? 100 : value >= 10 ? 10 : 1; power > 0; power /= 10) {
            entry.digits[entry.length++] = static_cast<char>('0' + value / power % 10);
        }
    }
    return table;
}

// Whole-table listings format millions of bytes; a table beats the formatter by far.
constexpr std::array<decimal, 256> decimals = make_decimals();

/// Writes up to 3 digits (always touching 3 bytes); returns the end of the text.
char *put_byte(char *at, uint8_t value) {
    const decimal &entry = decimals[value];
    memcpy(at, entry.digits, sizeof entry.digits);
    return at + entry.length;
}

/// Hexadecimal digits of a 16-bit group without leading zeros.
char *put_hex_group(char *at, uint32_t group) {
    const int digits = group == 0 ? 1 : (static_cast<int>(std::bit_width(group)) + 3) / 4;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        *at++ = "0123456789abcdef"[group >> shift & 0xf];
    }
    return at;
}

/// Dotted quad without a terminator; needs v4_text_size bytes of room.
char *put_ipv4(char *at, const uint8_t *address) {
    for (int i = 0; i < 4; ++i) {
        at = put_byte(at, address[i]);
        *at++ = '.';
    }
    return at - 1;
}

/// A run of zero groups; length 0 for none.
struct zero_run {
    int start = 0;
    int length = 0;
};

/// The first of the longest runs of zero groups, none when it is a single group.
zero_run longest_zero_run(const uint32_t *groups) {
    zero_run best;
    zero_run current;
    for (int i = 0; i < v6_groups; ++i) {
        if (groups[i] != 0) {
            current = {i + 1, 0};
        } else if (++current.length > best.length) {
            best = current;
        }
    }
    return best.length < 2 ? zero_run{v6_groups, 0} : best;
}

/// True when the last two groups are shown as a dotted quad.
bool embeds_ipv4(const zero_run &run, const uint32_t *groups) {
    return run.start == 0 && (run.length == 6 || (run.length == 5 && groups[5] == 0xffff));
}

}    // namespace

char *ipv4_addr_str(const uint8_t *address, char *destination, uint32_t size) {
    char text[v4_text_size];
    char *end = put_ipv4(text, address);
    *end = '\0';
    if (static_cast<uint64_t>(end - text) >= size) {
        return nullptr;
    }
    kq_strlcpy(destination, text, size);
    return destination;
}

namespace {

/// Compressed text without a terminator; needs v6_text_size bytes of room.
char *put_ipv6(char *at, const uint8_t *address) {
    const char *start = at;
    uint32_t groups[v6_groups];
    for (size_t i = 0; i < v6_groups; ++i) {
        groups[i] = uint32_t{address[2 * i]} << 8 | address[2 * i + 1];
    }
    const zero_run run = longest_zero_run(groups);
    for (int i = 0; i < v6_groups; ++i) {
        if (i == run.start && run.length > 0) {
            *at++ = ':';
            i += run.length - 1;
            continue;
        }
        if (i != 0) {
            *at++ = ':';
        }
        if (i == 6 && embeds_ipv4(run, groups)) {
            const auto room = static_cast<uint32_t>(start + v6_text_size - at);
            return at + strlen(ipv4_addr_str(address + 12, at, room));
        }
        at = put_hex_group(at, groups[i]);
    }
    if (run.start + run.length == v6_groups && run.length > 0) {
        *at++ = ':';
    }
    return at;
}

}    // namespace

std::string_view tbmd_key_text(const uint8_t *key, uint32_t key_bits_used) {
    if (key_bits_used == 0) {
        memcpy(tbmd_tmp_str, "0/0", sizeof "0/0");
        return {tbmd_tmp_str, 3};
    }
    const bool v6 = tbm_key_is_ipv6(key);
    uint8_t address[16];
    for (int i = 0; i < (v6 ? 16 : 4); ++i) {
        address[i] = tbm_key_address_byte(key, i);
    }
    char *at = v6 ? put_ipv6(tbmd_tmp_str, address) : put_ipv4(tbmd_tmp_str, address);
    *at++ = '/';
    const auto length = static_cast<int32_t>(key_bits_used - tbm_header_bits);
    at = std::to_chars(at, tbmd_tmp_str + append_limit, length).ptr;
    *at = '\0';
    return {tbmd_tmp_str, static_cast<size_t>(at - tbmd_tmp_str)};
}

void ipv6_addr_str(const uint8_t *address, char *destination, uint32_t size) {
    char text[v6_text_size];
    char *end = put_ipv6(text, address);
    *end = '\0';
    if (static_cast<uint64_t>(end - text) < size) {
        kq_strlcpy(destination, text, size);
    }
}

const char *phu_key_stride_str(const uint8_t *key, uint32_t n) {
    const uint32_t groups = (6 * n + 12) / 6 + 1;
    char *at = phu_tmp_str;
    char *const limit = phu_tmp_str + append_limit;
    for (uint32_t k = 0; k < groups && at < limit; ++k) {
        char piece[5] = ".";
        const char *end = put_byte(piece + 1, tbm_key_chunk(key, k * tbm_stride_bits));
        const char *begin = k == 0 ? piece + 1 : piece;
        at = std::copy(begin, begin + std::min(end - begin, limit - at), at);
    }
    *at = '\0';
    return phu_tmp_str;
}

void phu_pfx_to_str(uint32_t n) {
    static_assert(size_t{phu_pfx_entries} * 4 < text_buffer_size);
    char *at = phu_pfx_str;
    const uint32_t last = std::min<uint32_t>(n, phu_pfx_entries - 1);
    for (uint32_t i = 0; i <= last; ++i) {
        if (i != 0) {
            *at++ = '.';
        }
        at = put_byte(at, phu_pfx[i]);
    }
    *at = '\0';
}
