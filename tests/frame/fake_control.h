// What the preloaded fakes share: a call log and planned failures, both from the
// environment. FAKE_LOG names the log file; FAKE_FAIL is a list "call=result[:errno]" separated by
// blanks.
#pragma once

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define FAKE_EXPORT extern "C" __attribute__((visibility("default")))

/// Appends to the call log; errno stays.
inline void fake_vlog(const char *format, va_list arguments) {
    const char *path = getenv("FAKE_LOG");
    const int saved_errno = errno;
    const int log = path == nullptr ? -1 : open(path, O_WRONLY | O_APPEND | O_CREAT, 0644);
    if (log != -1) {
        vdprintf(log, format, arguments);
        close(log);
    }
    errno = saved_errno;
}
__attribute__((format(printf, 1, 2))) inline void fake_log(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fake_vlog(format, arguments);
    va_end(arguments);
}

/// Result of a call: the planned one (with its errno), or `success`.
inline long fake_result(const char *call, long success) {
    const char *plan = getenv("FAKE_FAIL");
    const size_t length = strlen(call);
    while (plan != nullptr && *plan != '\0') {
        if (strncmp(plan, call, length) == 0 && plan[length] == '=') {
            char *end = nullptr;
            const long result = strtol(plan + length + 1, &end, 0);
            errno = *end == ':' ? static_cast<int>(strtol(end + 1, nullptr, 0)) : 0;
            return result;
        }
        plan = strchr(plan, ' ');
        plan = plan == nullptr ? nullptr : plan + 1;
    }
    return success;
}

/// An exported variable of the running executable.
inline void *process_symbol(const char *name) {
    return dlsym(RTLD_DEFAULT, name);
}

/// Event manager handle that every fake agrees on.
inline void *fake_event_manager() {
    return reinterpret_cast<void *>(0x1122334455667788);
}

inline const char *evm_text(const void *handle) {
    return handle == fake_event_manager() ? "EVM" : "other";
}
