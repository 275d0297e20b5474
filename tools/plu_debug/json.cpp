#include "tools/plu_debug/json.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace client {
namespace {

std::string escaped_byte(unsigned char byte) {
    switch (byte) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\n':
            return "\\n";
        case '\t':
            return "\\t";
        default: {
            std::array<char, 8> text{};
            std::snprintf(text.data(), text.size(), "\\u%04x", byte);
            return text.data();
        }
    }
}

bool is_plain(unsigned char byte) {
    return byte >= ' ' && byte < 0x7f && byte != '"' && byte != '\\';
}

/// Bytes of the character that the text begins with; 0 when it is none. Neither surrogates nor
/// forms longer than needed are characters.
size_t character_length(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    const size_t length = first < 0x80                    ? 1
                          : first >= 0xc2 && first < 0xe0 ? 2
                          : first >= 0xe0 && first < 0xf0 ? 3
                          : first >= 0xf0 && first < 0xf5 ? 4
                                                          : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) {
            return 0;
        }
    }
    const unsigned second = length > 1 ? byte(1) : 0;
    const bool wrong = (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
                       (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
    return wrong ? 0 : length;
}

bool is_utf8(std::string_view text) {
    if (std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
        return true;
    }
    while (!text.empty()) {
        const size_t length = character_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

}    // namespace

std::string json_escaped(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    const bool utf8 = is_utf8(text);
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (is_plain(byte) || (utf8 && byte >= 0x80)) {
            result += character;
        } else {
            result += escaped_byte(byte);
        }
    }
    return result;
}

std::string json_string(std::string_view text) {
    return '"' + json_escaped(text) + '"';
}

void json_writer::separate() {
    if (!first_ && !after_key_) {
        out_.write(",");
    }
    first_ = false;
    after_key_ = false;
}

void json_writer::begin(char bracket) {
    separate();
    out_.write(std::string_view(&bracket, 1));
    first_ = true;
}

void json_writer::end(char bracket) {
    out_.write(std::string_view(&bracket, 1));
    first_ = false;
}

void json_writer::end_document() {
    out_.write("\n");
    first_ = true;
}

void json_writer::key(std::string_view name) {
    separate();
    out_.write(json_string(name));
    out_.write(":");
    after_key_ = true;
}

void json_writer::item(std::string_view written) {
    separate();
    out_.write(written);
}

void json_writer::seconds_member(std::string_view name, double seconds) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6f", seconds);
    key(name);
    item(text.data());
}

}    // namespace client
