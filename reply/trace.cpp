#include "reply/trace.h"

#include <cstring>
#include <initializer_list>

extern "C" {
alignas(8) uint8_t plu_debug_event_type[plu_debug_event_type_size] = {};
int32_t plu_debug_crit = 0;
int32_t plu_debug_det = 0;
int32_t plu_debug_lookup = 0;
int32_t perpfx_dbg_key_match = 0;
int32_t phu_debug_walk_dump = 0;
int32_t phu_debug_verf_err = 0;
int32_t plu_debug_tb = 0;
int32_t plu_debug_xRAM = 0;
}

namespace {

constexpr size_t handle_word_at = 8;    // non-zero in a live handle
constexpr uintptr_t lowest_handle = 4096;

bool any_set(std::initializer_list<const volatile int32_t *> flags) {
    for (const volatile int32_t *flag : flags) {
        if (*flag != 0) {
            return true;
        }
    }
    return false;
}

size_t handle_offset(trace_class message_class) {
    switch (message_class) {
        case trace_class::failure:
            return 0;
        case trace_class::progress:
            return 384;
        case trace_class::phu_verification:
            return 768;
    }
    return 0;
}

bool fallback_set(trace_class message_class) {
    switch (message_class) {
        case trace_class::failure:
            return any_set({&plu_debug_crit, &perpfx_dbg_key_match, &plu_debug_det});
        case trace_class::progress:
            return any_set({&plu_debug_lookup, &perpfx_dbg_key_match});
        case trace_class::phu_verification:
            return any_set({&phu_debug_walk_dump, &phu_debug_verf_err});
    }
    return false;
}

}    // namespace

trace_route trace_route_of(trace_class message_class) {
    const uint8_t *handle = plu_debug_event_type + handle_offset(message_class);
    uint64_t live = 0;
    memcpy(&live, handle + handle_word_at, sizeof live);
    if (live != 0 && reinterpret_cast<uintptr_t>(handle) >= lowest_handle) {
        return {handle, false};
    }
    return {nullptr, fallback_set(message_class)};
}
