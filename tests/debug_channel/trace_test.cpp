#include "debug_channel/trace.h"

#include <gtest/gtest.h>
#include <cstdarg>
#include <cstring>
#include <initializer_list>
#include <string>

namespace {

std::string sent;    // what the platform got last

int evaluations = 0;
int counted(int value) {
    evaluations++;
    return value;
}

constexpr trace_class classes[] = {trace_class::failure, trace_class::progress,
                                   trace_class::phu_verification};

void reset() {
    memset(plu_debug_event_type, 0, sizeof plu_debug_event_type);
    for (int32_t *flag :
         {&plu_debug_crit, &plu_debug_det, &plu_debug_lookup, &perpfx_dbg_key_match,
          &phu_debug_walk_dump, &phu_debug_verf_err, &plu_debug_tb, &plu_debug_xRAM}) {
        *flag = 0;
    }
    sent.clear();
    evaluations = 0;
}

std::string traced(trace_class message_class) {
    sent.clear();
    PLU_TRACE(message_class, "%s is %d\n", "answer", counted(42));
    return sent;
}

void make_live(size_t handle_at, uint8_t byte_in_word) {
    plu_debug_event_type[handle_at + 8 + byte_in_word] = 1;
}

}    // namespace

void buginf(const void *handle, int flags, int count, const char *format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const auto offset = static_cast<const uint8_t *>(handle) - plu_debug_event_type;
    sent = "buginf " + std::to_string(offset) + " " + std::to_string(flags) + " " +
           std::to_string(count) + " " + text;
}

void kq_syslog(int level, const char *format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    sent = "syslog " + std::to_string(level) + " " + text;
}

TEST(Trace, FallbackFlagsReachTheLogForTheirClassesOnly) {
    struct flag_row {
        int32_t *flag;
        bool reaches[3];    // failure, progress, verification
    };
    const flag_row rows[] = {
        {&plu_debug_crit, {true, false, false}},      {&plu_debug_det, {true, false, false}},
        {&plu_debug_lookup, {false, true, false}},    {&perpfx_dbg_key_match, {true, true, false}},
        {&phu_debug_walk_dump, {false, false, true}}, {&phu_debug_verf_err, {false, false, true}},
        {&plu_debug_tb, {false, false, false}},       {&plu_debug_xRAM, {false, false, false}},
    };
    for (size_t row = 0; row < std::size(rows); row++) {
        reset();
        *rows[row].flag = -1;
        for (int c = 0; c < 3; c++) {
            EXPECT_EQ(traced(classes[c]), rows[row].reaches[c] ? "syslog 2 answer is 42\n" : "")
                << "flag row " << row << " class " << c;
        }
    }
}

TEST(Trace, LiveHandleTakesItsClassAheadOfTheFlags) {
    constexpr size_t handles[] = {0, 384, 768};
    for (int live = 0; live < 3; live++) {
        for (const uint8_t byte_in_word : {uint8_t{0}, uint8_t{7}}) {
            reset();
            perpfx_dbg_key_match = 1;
            make_live(handles[live], byte_in_word);
            for (int c = 0; c < 3; c++) {
                const std::string fallback = c < 2 ? "syslog 2 answer is 42\n" : "";
                const std::string direct =
                    "buginf " + std::to_string(handles[c]) + " 0 1 answer is 42\n";
                EXPECT_EQ(traced(classes[c]), c == live ? direct : fallback);
            }
        }
    }
}

TEST(Trace, ArgumentsAreEvaluatedOnceAndOnlyWhenTheMessageGoesSomewhere) {
    reset();
    for (const trace_class c : classes) {
        EXPECT_EQ(traced(c), "");
    }
    EXPECT_EQ(evaluations, 0);
    plu_debug_crit = 1;
    traced(trace_class::failure);
    EXPECT_EQ(evaluations, 1);
    make_live(0, 0);
    traced(trace_class::failure);
    EXPECT_EQ(evaluations, 2);
}
