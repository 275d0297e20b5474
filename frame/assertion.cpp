#include "frame/assertion.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>

void require(bool holds, const char *text, const std::source_location &place) {
    if (holds) {
        return;
    }
    dprintf(STDERR_FILENO, "%s:%u: %s: assertion \"%s\" failed\n", place.file_name(), place.line(),
            place.function_name(), text);
    abort();
}
