// OS abstraction of the stand-in platform.
#include "platform/osag.h"

#include <dlfcn.h>
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/export.h"

namespace {

/// Opens a library in the directory of this one; null when it is not there.
void *open_beside_self(const char *file) {
    Dl_info self = {};
    if (strchr(file, '/') != nullptr ||
        dladdr(reinterpret_cast<const void *>(&open_beside_self), &self) == 0) {
        return nullptr;
    }
    const char *slash = strrchr(self.dli_fname, '/');
    if (slash == nullptr) {
        return nullptr;
    }
    char path[PATH_MAX];
    const int directory = static_cast<int>(slash - self.dli_fname);
    const int length = snprintf(path, sizeof path, "%.*s/%s", directory, self.dli_fname, file);
    return length > 0 && length < PATH_MAX ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
}

}    // namespace

PLU_EXPORT mqd_t osag_mq_open(const char *name, int flags, mode_t mode, mq_attr *attributes) {
    return mq_open(name, flags, mode, attributes);
}

PLU_EXPORT int osag_mq_unlink(const char *name) {
    return mq_unlink(name);
}

PLU_EXPORT size_t kq_strlcpy(char *destination, const char *source, size_t size) {
    const size_t length = strlen(source);
    if (size > 0) {
        const size_t copied = std::min(length, size - 1);
        memcpy(destination, source, copied);
        destination[copied] = '\0';
    }
    return length;
}

// Mode 0 is the platform's only mode. A sanitizer's runtime hides this library's run path from the
// dynamic linker, hence the second try.
PLU_EXPORT void *_dlopen(const char *file, int) {
    void *library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
    return library != nullptr ? library : open_beside_self(file);
}
