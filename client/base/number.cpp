#include "client/base/number.h"

#include <charconv>

namespace client {

std::optional<uint64_t> parse_number(std::string_view word) {
    int base = 10;
    if (word.starts_with("0x") || word.starts_with("0X")) {
        base = 16;
        word.remove_prefix(2);
    }
    uint64_t number = 0;
    const char *end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number, base);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return number;
}

}    // namespace client
