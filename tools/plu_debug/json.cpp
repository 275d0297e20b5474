#include "tools/plu_debug/json.h"

#include <locale.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>

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

bool is_utf8(std::string_view text) {
    if (std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
        return true;
    }
    const std::string whole(text);
    static const auto encoding = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (encoding == nullptr) {
        return false;
    }
    const locale_t before = uselocale(encoding);
    const char *from = whole.c_str();
    std::mbstate_t state{};
    const size_t length = std::mbsrtowcs(nullptr, &from, 0, &state);
    uselocale(before);
    return length != static_cast<size_t>(-1);
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
