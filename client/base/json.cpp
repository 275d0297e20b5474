#include "client/base/json.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace client {
namespace {

bool is_utf8(std::string_view text) {
    rapidjson::MemoryStream input(text.data(), text.size());
    rapidjson::StringBuffer copy;
    while (input.Tell() < text.size()) {
        if (!rapidjson::UTF8<>::Validate(input, copy)) {
            return false;
        }
    }
    return true;
}

}    // namespace

std::string utf8_text(std::string_view text) {
    if (std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; }) ||
        is_utf8(text)) {
        return std::string(text);
    }
    rapidjson::StringBuffer result;
    for (const char c : text) {
        rapidjson::UTF8<>::Encode(result, static_cast<unsigned char>(c));
    }
    return {result.GetString(), result.GetSize()};
}

void json_writer::begin(char bracket) {
    bracket == '{' ? writer_.StartObject() : writer_.StartArray();
}

void json_writer::end(char bracket) {
    bracket == '}' ? writer_.EndObject() : writer_.EndArray();
}

void json_writer::end_document() {
    out_.write("\n");
    writer_.Reset(stream_);
}

void json_writer::seconds_member(std::string_view name, double seconds) {
    std::array<char, 32> text{};
    const int length = std::snprintf(text.data(), text.size(), "%.6f", seconds);
    key(name);
    writer_.RawValue(text.data(), static_cast<size_t>(length), rapidjson::kNumberType);
}

}    // namespace client
