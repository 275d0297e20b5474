// printf-style text of an expected reply.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

__attribute__((format(printf, 1, 2))) inline std::string formatted(const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

inline uint64_t number(const void *pointer) {
    return reinterpret_cast<uint64_t>(pointer);
}
