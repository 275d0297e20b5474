// Debug and log output of the operating platform.
#pragma once

extern "C" {
/// Writes a message under a live trace handle.
void buginf(const void *handle, int flags, int count, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

/// Writes a message to the system log at a level.
void kq_syslog(int level, const char *format, ...) __attribute__((format(printf, 2, 3)));
}
