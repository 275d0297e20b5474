#include "frame/assertion.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>

void require(bool holds, const char *text, const char *file, int line) {
    if (holds) {
        return;
    }
    dprintf(STDERR_FILENO, "%s:%d: assertion \"%s\" failed\n", file, line, text);
    abort();
}
