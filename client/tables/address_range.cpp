#include "client/tables/address_range.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace {

struct address {
    int width;
    address_number number;
};

std::optional<address> parse_decimal(std::string_view text) {
    uint32_t number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return address{32, number};
}

std::optional<address> parse_text(std::string_view text, int family) {
    std::array<char, INET6_ADDRSTRLEN> terminated{};
    std::array<unsigned char, 16> bytes{};
    if (text.size() >= terminated.size()) {
        return std::nullopt;
    }
    std::copy(text.begin(), text.end(), terminated.begin());
    if (inet_pton(family, terminated.data(), bytes.data()) != 1) {
        return std::nullopt;
    }
    const int width = family == AF_INET ? 32 : 128;
    address_number number = 0;
    for (int i = 0; i < width / 8; ++i) {
        number = number << 8 | bytes[static_cast<size_t>(i)];
    }
    return address{width, number};
}

std::optional<address> parse_address(std::string_view text) {
    if (text.find(':') != std::string_view::npos) {
        return parse_text(text, AF_INET6);
    }
    if (text.find('.') != std::string_view::npos) {
        return parse_text(text, AF_INET);
    }
    return parse_decimal(text);
}

/// Largest number of host bits of a prefix that starts at `first` and ends within `last`.
int host_bits(int width, address_number first, address_number last) {
    int bits = 0;
    while (bits < width) {
        const address_number below = (address_number{2} << bits) - 1;    // one bit more
        if ((first & below) != 0 || last - first < below) {
            break;
        }
        ++bits;
    }
    return bits;
}

}    // namespace

std::optional<address_range> parse_range(std::string_view line) {
    const size_t comma = line.find(',');
    if (comma == std::string_view::npos) {
        return std::nullopt;
    }
    const auto first = parse_address(line.substr(0, comma));
    const std::string_view rest = line.substr(comma + 1);
    const auto last = parse_address(rest.substr(0, rest.find(',')));
    if (!first || !last || first->width != last->width || first->number > last->number) {
        return std::nullopt;
    }
    return address_range{first->width, first->number, last->number};
}

void split_range(const address_range &range,
                 const std::function<void(const address_prefix &)> &take) {
    address_number first = range.first;
    for (;;) {
        const int bits = host_bits(range.width, first, range.last);
        take({range.width, first, range.width - bits});
        const address_number end =
            first + ((address_number{1} << (bits / 2) << (bits - bits / 2)) - 1);
        if (end == range.last) {
            return;
        }
        first = end + 1;
    }
}

std::string prefix_text(const address_prefix &prefix) {
    std::array<unsigned char, 16> bytes{};
    const int count = prefix.width / 8;
    for (int i = 0; i < count; ++i) {
        bytes[static_cast<size_t>(i)] =
            static_cast<unsigned char>(prefix.address >> (prefix.width - 8 - 8 * i));
    }
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(prefix.width == 32 ? AF_INET : AF_INET6, bytes.data(), text.data(), text.size());
    return std::string(text.data()) + '/' + std::to_string(prefix.length);
}
