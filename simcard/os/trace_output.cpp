// Trace output of the stand-in platform: one line per message with its origin, to standard error,
// or to the system log when SIMCARD_TRACE_TO=syslog.
#include "platform/trace_output.h"

#include <syslog.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/export.h"
#include "simcard/os/trace_classes.h"

namespace {

constexpr size_t line_size = 4096;
constexpr size_t origin_size = 32;

bool to_system_log() {
    const char *choice = getenv("SIMCARD_TRACE_TO");
    return choice != nullptr && strcmp(choice, "syslog") == 0;
}

/// Writes "PROGRAM ORIGIN: TEXT", ended by a line end also when the format has none.
void write_line(int level, const char *origin, const char *format, va_list arguments) {
    char text[line_size];
    vsnprintf(text, sizeof text, format, arguments);
    const size_t length = strlen(text);
    const bool ended = length > 0 && text[length - 1] == '\n';
    if (to_system_log()) {
        syslog(level, "%s: %s", origin, text);
        return;
    }
    dprintf(STDERR_FILENO, "%s %s: %s%s", program_invocation_short_name, origin, text,
            ended ? "" : "\n");
}

}    // namespace

PLU_EXPORT void buginf(const void *handle, int, int, const char *format, ...) {
    char origin[origin_size];
    snprintf(origin, sizeof origin, "buginf %s", simcard::trace_class_name(handle));
    va_list arguments;
    va_start(arguments, format);
    write_line(LOG_DEBUG, origin, format, arguments);
    va_end(arguments);
}

PLU_EXPORT void kq_syslog(int level, const char *format, ...) {
    char origin[origin_size];
    snprintf(origin, sizeof origin, "syslog level %d", level);
    va_list arguments;
    va_start(arguments, format);
    write_line(std::clamp(level, LOG_EMERG, LOG_DEBUG), origin, format, arguments);
    va_end(arguments);
}
