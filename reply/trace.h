// Trace routing: every diagnostic message belongs to a class; a live trace handle takes it to
// buginf, else a set fallback flag takes it to kq_syslog at level 2, else it is dropped.
// The flags and handles are written by other components, at any time; never by this process.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/export.h"
#include "platform/trace_output.h"

inline constexpr size_t plu_debug_event_type_size = 1344;

extern "C" {
extern PLU_EXPORT uint8_t plu_debug_event_type[plu_debug_event_type_size];    // trace handles
extern PLU_EXPORT int32_t plu_debug_crit;
extern PLU_EXPORT int32_t plu_debug_det;
extern PLU_EXPORT int32_t plu_debug_lookup;
extern PLU_EXPORT int32_t perpfx_dbg_key_match;
extern PLU_EXPORT int32_t phu_debug_walk_dump;
extern PLU_EXPORT int32_t phu_debug_verf_err;
extern PLU_EXPORT int32_t plu_debug_tb;
extern PLU_EXPORT int32_t plu_debug_xRAM;
}

enum class trace_class { failure, progress, phu_verification };

/// Where a message of a class goes now.
struct trace_route {
    const void *handle;    // buginf handle, or null
    bool to_syslog;
};
trace_route trace_route_of(trace_class message_class);

inline constexpr int trace_syslog_level = 2;

/// Sends one message; the arguments are evaluated only when it goes anywhere.
#define PLU_TRACE(message_class, ...)                                      \
    do {                                                                   \
        const trace_route plu_trace_route = trace_route_of(message_class); \
        if (plu_trace_route.handle != nullptr) {                           \
            buginf(plu_trace_route.handle, 0, 1, __VA_ARGS__);             \
        } else if (plu_trace_route.to_syslog) {                            \
            kq_syslog(trace_syslog_level, __VA_ARGS__);                    \
        }                                                                  \
    } while (false)
