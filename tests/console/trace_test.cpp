#include "reply/trace.h"

#include <gtest/gtest.h>
#include <cstdarg>
#include <cstring>
#include <string>

namespace {

std::string sent;    // what the platform got last

constexpr trace_class classes[] = {trace_class::failure, trace_class::progress,
                                   trace_class::phu_verification};
int32_t *const flags[] = {&plu_debug_crit,       &plu_debug_det,       &plu_debug_lookup,
                          &perpfx_dbg_key_match, &phu_debug_walk_dump, &phu_debug_verf_err,
                          &plu_debug_tb,         &plu_debug_xRAM};

/// Routes one message of every class with one flag set and one handle word's byte live; tells what
/// the platform got: '.' nothing, 's' the log at level 2, 'b' the class's own handle.
std::string routes(int32_t *flag, size_t live_byte = 0) {
    for (int32_t *other : flags) {
        *other = other == flag ? -1 : 0;
    }
    memset(plu_debug_event_type, 0, sizeof plu_debug_event_type);
    plu_debug_event_type[live_byte] = live_byte == 0 ? 0 : 1;
    std::string result;
    for (size_t c = 0; c < 3; c++) {
        int evaluations = 0;
        sent.clear();
        PLU_TRACE(classes[c], "%s is %d\n", "answer", 41 + ++evaluations);
        const std::string direct = "buginf " + std::to_string(384 * c) + " 0 1 answer is 42\n";
        result += sent.empty()                        ? '.'
                  : sent == "syslog 2 answer is 42\n" ? 's'
                  : sent == direct                    ? 'b'
                                                      : '?';
        EXPECT_EQ(evaluations, sent.empty() ? 0 : 1);
    }
    return result;
}

std::string printed(const char *format, va_list arguments) {
    char text[256];
    vsnprintf(text, sizeof text, format, arguments);
    return text;
}

}    // namespace

void buginf(const void *handle, int flags, int count, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    sent = "buginf " + std::to_string(static_cast<const uint8_t *>(handle) - plu_debug_event_type) +
           " " + std::to_string(flags) + " " + std::to_string(count) + " " +
           printed(format, arguments);
    va_end(arguments);
}

void kq_syslog(int level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    sent = "syslog " + std::to_string(level) + " " + printed(format, arguments);
    va_end(arguments);
}

TEST(Trace, FlagsReachTheLogForTheirClassesAndLiveHandlesGoFirst) {
    EXPECT_EQ(routes(nullptr), "...");
    const char *const expected[] = {"s..", "s..", ".s.", "ss.", "..s", "..s", "...", "..."};
    for (size_t flag = 0; flag < std::size(flags); flag++) {
        EXPECT_EQ(routes(flags[flag]), expected[flag]) << flag;
    }
    for (const size_t byte_in_word : {8, 15}) {
        EXPECT_EQ(routes(&perpfx_dbg_key_match, byte_in_word), "bs.");
        EXPECT_EQ(routes(&perpfx_dbg_key_match, 384 + byte_in_word), "sb.");
        EXPECT_EQ(routes(nullptr, 768 + byte_in_word), "..b");
    }
    EXPECT_EQ(routes(nullptr, 7), "...");
    EXPECT_EQ(routes(nullptr, 16), "...");
}
