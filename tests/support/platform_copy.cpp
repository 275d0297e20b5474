// The platform's bounded copy for tests that do not link the platform library.
#include <algorithm>
#include <cstring>

#include "platform/osag.h"

extern "C" __attribute__((weak)) size_t kq_strlcpy(char *destination, const char *source,
                                                   size_t size) {
    const size_t length = strlen(source);
    if (size > 0) {
        const size_t copied = std::min(length, size - 1);
        memcpy(destination, source, copied);
        destination[copied] = '\0';
    }
    return length;
}
