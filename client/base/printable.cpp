#include "client/base/printable.h"

#include <array>
#include <cstdio>

namespace client {
namespace {

// Bytes of the character at the front; the shape decides, not the meaning.
size_t bytes_of(unsigned char first) {
    return first < 0xc2 ? 1 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : first < 0xf5 ? 4 : 1;
}

bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

// How many bytes at the front may be shown; 0 when the first may not.
size_t shown_bytes(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) {
        return (first >= ' ' && first != 0x7f) || first == '\n' || first == '\t' ? 1 : 0;
    }
    const size_t count = bytes_of(first);
    if (count == 1 || count > text.size()) {
        return 0;
    }
    for (size_t i = 1; i < count; ++i) {
        if (!continues(text[i])) {
            return 0;
        }
    }
    return first == 0xc2 && static_cast<unsigned char>(text[1]) < 0xa0 ? 0 : count;
}

}    // namespace

bool is_printable(std::string_view text) {
    while (!text.empty()) {
        const size_t count = shown_bytes(text);
        if (count == 0) {
            return false;
        }
        text.remove_prefix(count);
    }
    return true;
}

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const size_t count = shown_bytes(text);
        if (count == 0) {
            std::array<char, 8> hex{};
            std::snprintf(hex.data(), hex.size(), "\\x%02x", static_cast<unsigned char>(text[0]));
            result += hex.data();
        } else {
            result += text.substr(0, count);
        }
        text.remove_prefix(count == 0 ? 1 : count);
    }
    return result;
}

}    // namespace client
