#include "client/words/prefix.h"

#include <arpa/inet.h>

#include <array>
#include <optional>

#include "client/base/number.h"

namespace client {
namespace {

uint64_t big_endian(const unsigned char *bytes, int count) {
    uint64_t number = 0;
    for (int i = 0; i < count; ++i) {
        number = number << 8 | bytes[i];
    }
    return number;
}

std::optional<prefix> parse_address(const std::string &text) {
    std::array<unsigned char, 16> bytes{};
    prefix result;
    if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1) {
        result.kind = family::v4;
        result.low = big_endian(bytes.data(), 4);
        result.length = 32;
        return result;
    }
    if (inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1) {
        result.kind = family::v6;
        result.high = big_endian(bytes.data(), 8);
        result.low = big_endian(bytes.data() + 8, 8);
        result.length = 128;
        return result;
    }
    return std::nullopt;
}

// The lowest `count` bits of a number, for counts from 0 to 64 and beyond.
uint64_t low_bits(uint64_t number, int count) {
    if (count <= 0) {
        return 0;
    }
    return count >= 64 ? number : number & ((uint64_t{1} << count) - 1);
}

bool has_host_bits(const prefix &value) {
    const int host = (value.kind == family::v4 ? 32 : 128) - value.length;
    return low_bits(value.low, host) != 0 || low_bits(value.high, host - 64) != 0;
}

}    // namespace

bool looks_like_prefix(std::string_view word) {
    return word.find_first_of(".:/") != std::string_view::npos;
}

prefix parse_prefix(std::string_view word, std::string &error) {
    const std::string quoted = "'" + std::string(word) + "'";
    const size_t slash = word.find('/');
    auto value = parse_address(std::string(word.substr(0, slash)));
    if (!value) {
        error = quoted + " is no prefix: expected an address such as 10.1.2.0/24 or 2001:db8::/32";
        return {};
    }
    if (slash != std::string_view::npos) {
        const std::string_view length_word = word.substr(slash + 1);
        const auto length = parse_number(length_word);
        if (!length || length_word.find_first_not_of("0123456789") != std::string_view::npos) {
            error = quoted + ": '" + std::string(length_word) + "' is no prefix length";
            return {};
        }
        if (*length > static_cast<uint64_t>(value->length)) {
            error = quoted + ": length " + std::string(length_word) + " is beyond the " +
                    std::to_string(value->length) + " bits of " +
                    (value->kind == family::v4 ? "IPv4" : "IPv6");
            return {};
        }
        value->length = static_cast<int>(*length);
    }
    value->host_bits = has_host_bits(*value);
    return *value;
}

}    // namespace client
