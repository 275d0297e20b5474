#include "table/table_line.h"

#include <arpa/inet.h>

#include <charconv>
#include <tuple>

namespace table {
namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view next_word(std::string_view &line) {
    const size_t begin = line.find_first_not_of(blanks);
    if (begin == std::string_view::npos || line[begin] == '#') {
        line = {};
        return {};
    }
    const size_t end = std::min(line.find_first_of(blanks, begin), line.size());
    const std::string_view word = line.substr(begin, end - begin);
    line.remove_prefix(end);
    return word;
}

/// A decimal number that fits; none for anything else.
template <typename Number>
std::optional<Number> decimal(std::string_view word) {
    Number number = 0;
    const char *end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    return error == std::errc{} && stop == end ? std::optional(number) : std::nullopt;
}

void clear_beyond(prefix &value) {
    for (size_t i = value.length / 8U; i < value.address.size(); ++i) {
        value.address.at(i) &=
            i == value.length / 8U ? static_cast<uint8_t>(0xff00 >> value.length % 8) : uint8_t{0};
    }
}

line bad(const char *problem) {
    return {line::bad, {}, problem};
}

}    // namespace

std::strong_ordering prefix::operator<=>(const prefix &other) const {
    return std::tie(vrf, family, address, length) <=>
           std::tie(other.vrf, other.family, other.address, other.length);
}

std::optional<prefix> parse_prefix(std::string_view text, uint16_t vrf) {
    const size_t slash = text.find('/');
    const std::string address(text.substr(0, slash));
    const bool v6 = address.find(':') != std::string::npos;
    const uint8_t longest = v6 ? 128 : 32;
    const auto length = slash == std::string_view::npos ? std::optional(longest)
                                                        : decimal<uint8_t>(text.substr(slash + 1));
    prefix result{vrf, static_cast<uint8_t>(v6 ? 6 : 4), length.value_or(0)};
    if (!length || *length > longest ||
        inet_pton(v6 ? AF_INET6 : AF_INET, address.c_str(), result.address.data()) != 1) {
        return std::nullopt;
    }
    clear_beyond(result);
    return result;
}

line parse_line(std::string_view text) {
    std::string_view word = next_word(text);
    if (word.empty()) {
        return {};
    }
    const bool recorded = word == "A";
    const std::string_view family = recorded ? next_word(text) : "";
    if (recorded && family != "U4" && family != "U6") {
        return bad("unknown family of a recording line");
    }
    word = recorded ? next_word(text) : word;
    const std::string_view vrf_word = next_word(text);
    const auto vrf = vrf_word.empty() ? std::optional<uint16_t>(0) : decimal<uint16_t>(vrf_word);
    if (!vrf) {
        return bad("VRF is not a number from 0 to 65535");
    }
    if (!next_word(text).empty()) {
        return bad("words behind the VRF");
    }
    const auto found = parse_prefix(word, *vrf);
    if (!found) {
        return bad("not a prefix");
    }
    return recorded && family.back() - '0' != found->family ? bad("family and address disagree")
                                                            : line{line::entry, *found};
}

std::string text_of(const prefix &value) {
    std::array<char, INET6_ADDRSTRLEN> address{};
    inet_ntop(value.family == 4 ? AF_INET : AF_INET6, value.address.data(), address.data(),
              address.size());
    return std::string(address.data()) + '/' + std::to_string(value.length);
}

}    // namespace table
