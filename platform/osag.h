// OS abstraction of the operating platform: message queues, bounded copy, dynamic loading.
#pragma once

#include <mqueue.h>
#include <cstddef>

extern "C" {
/// Opens (and creates, by flags) a POSIX message queue. Returns its descriptor, -1 on failure.
mqd_t osag_mq_open(const char *name, int flags, mode_t mode, mq_attr *attributes);

/// Removes a queue's name. Returns 0, or -1 when there is none.
int osag_mq_unlink(const char *name);

/// Copies at most size - 1 characters and always terminates (size above 0). Returns the length of
/// the source.
size_t kq_strlcpy(char *destination, const char *source, size_t size);

/// Opens a shared library by file name with mode 0. Returns its handle, null on failure.
void *_dlopen(const char *file, int mode);
}
