// Small helpers for expected texts.
#pragma once

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

/// printf into a string.
__attribute__((format(printf, 1, 2))) inline std::string format(const char *text, ...) {
    char buffer[4096];
    va_list arguments;
    va_start(arguments, text);
    vsnprintf(buffer, sizeof buffer, text, arguments);
    va_end(arguments);
    return buffer;
}

/// Address as the operator types it.
inline uint64_t number(const void *pointer) {
    return reinterpret_cast<uint64_t>(pointer);
}

/// Messages from `first` on, joined.
inline std::string join(const std::vector<std::string> &pieces, size_t first = 0) {
    std::string joined;
    for (size_t i = first; i < pieces.size(); ++i) {
        joined += pieces[i];
    }
    return joined;
}

/// Times that a text occurs in another.
inline size_t occurrences(const std::string &text, const std::string &what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

/// The text with addresses replaced by names, so that an expected text can be a literal.
inline std::string named(std::string text,
                         const std::vector<std::pair<const void *, const char *>> &names) {
    for (const auto &[address, name] : names) {
        const std::string digits = format("%p", address);
        for (size_t at = text.find(digits); at != std::string::npos; at = text.find(digits)) {
            text.replace(at, digits.size(), name);
        }
    }
    return text;
}

/// Whether a text occurs in another; the failure shows both.
inline testing::AssertionResult contains(const std::string &text, const std::string &what) {
    return (text.find(what) != std::string::npos ? testing::AssertionSuccess()
                                                 : testing::AssertionFailure())
           << '"' << what << "\" in\n"
           << text;
}
