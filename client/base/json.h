// Machine output: JSON, written as it arises.
#pragma once

#include <rapidjson/document.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "client/base/output.h"

namespace client {

/// Text as UTF-8. When it is none, bytes that are no ASCII stand for the characters of that number.
std::string utf8_text(std::string_view text);

/// Writes values into open objects and arrays, with the commas between them.
class json_writer {
public:
    explicit json_writer(output &out) : out_(out), stream_{out}, writer_(stream_) {}

    void begin(char bracket);    // '{' or '['
    void end(char bracket);
    void key(std::string_view name) { text_value(name); }
    void text(std::string_view value) { text_value(utf8_text(value)); }
    void number(int64_t value) { writer_.Int64(value); }
    void value(const rapidjson::Value &tree) { tree.Accept(writer_); }
    void end_document();    // another may follow on the next line

    void text_member(std::string_view name, std::string_view value) {
        key(name);
        text(value);
    }
    void number_member(std::string_view name, int64_t value) {
        key(name);
        number(value);
    }
    void seconds_member(std::string_view name, double seconds);

    [[nodiscard]] output &out() const { return out_; }

private:
    struct stream {
        using Ch = char;
        output &out;
        void Put(char c) { out.write({&c, 1}); }
        void Flush() {}
    };

    void text_value(std::string_view text) {
        writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    }

    output &out_;
    stream stream_;
    rapidjson::Writer<stream> writer_;
};

}    // namespace client
