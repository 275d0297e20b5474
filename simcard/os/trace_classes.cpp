#include "simcard/os/trace_classes.h"

#include <dlfcn.h>
#include <unistd.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace simcard {

namespace {

constexpr size_t handle_word_at = 8;
constexpr int token_size = 64;

struct trace_class_row {
    const char *name;
    size_t handle_at;    // offset in plu_debug_event_type
};

constexpr trace_class_row trace_classes[] = {
    {"failure", 0}, {"progress", 384}, {"verification", 768}};

// Only these names may be written as flags; any other exported variable is not ours to touch.
constexpr const char *debug_flags[] = {
    "plu_debug_crit",      "plu_debug_det",      "plu_debug_lookup", "perpfx_dbg_key_match",
    "phu_debug_walk_dump", "phu_debug_verf_err", "plu_debug_tb",     "plu_debug_xRAM",
};

char *event_types() {
    return static_cast<char *>(dlsym(RTLD_DEFAULT, "plu_debug_event_type"));
}

bool enable_class(std::string_view token) {
    char *handles = event_types();
    for (const trace_class_row &row : trace_classes) {
        if (token == row.name && handles != nullptr) {
            const uint64_t live = 1;
            memcpy(handles + row.handle_at + handle_word_at, &live, sizeof live);
            return true;
        }
    }
    return false;
}

bool set_flag(std::string_view token) {
    for (const char *name : debug_flags) {
        if (token == name) {
            auto *flag = static_cast<int32_t *>(dlsym(RTLD_DEFAULT, name));
            if (flag != nullptr) {
                *flag = 1;
            }
            return flag != nullptr;
        }
    }
    return false;
}

void enable_one(std::string_view token) {
    if (token.empty() || enable_class(token) || set_flag(token)) {
        return;
    }
    const int length = static_cast<int>(token.substr(0, token_size).size());
    dprintf(STDERR_FILENO, "SIMCARD_TRACE: no trace class or debug flag \"%.*s\"\n", length,
            token.data());
}

/// The handles are zero-initialised data of the executable, so a library may set them before main.
__attribute__((constructor)) void enable_from_environment() {
    const char *list = getenv("SIMCARD_TRACE");
    if (list != nullptr) {
        trace_enable(list);
    }
}

}    // namespace

const char *trace_class_name(const void *handle) {
    const char *handles = event_types();
    for (const trace_class_row &row : trace_classes) {
        if (handles != nullptr && handle == handles + row.handle_at) {
            return row.name;
        }
    }
    return "?";
}

void trace_enable(const char *list) {
    std::string_view rest(list);
    while (!rest.empty()) {
        const size_t end = rest.find(',');
        enable_one(rest.substr(0, end));
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
}

}    // namespace simcard
