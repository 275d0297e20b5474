// Machine output: JSON, written as it arises.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/plu_debug/output.h"

namespace client {

/// Text as the inside of a JSON string. When the text is not UTF-8, bytes that are no ASCII stand
/// for the characters of that number.
std::string json_escaped(std::string_view text);

/// A whole JSON string with its quotes.
std::string json_string(std::string_view text);

/// Writes values into open objects and arrays, with the commas between them.
class json_writer {
public:
    explicit json_writer(output &out) : out_(out) {}

    void begin(char bracket);    // '{' or '['
    void end(char bracket);
    void key(std::string_view name);
    void text(std::string_view value) { item(json_string(value)); }
    void number(int64_t value) { item(std::to_string(value)); }
    void end_document();                    // another may follow on the next line
    void item(std::string_view written);    // any value that is JSON already

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
    void separate();

    output &out_;
    bool first_ = true;
    bool after_key_ = false;
};

}    // namespace client
