// The debug thread: serves the request queue, one request at a time.
#pragma once

#include <cstdint>

#include "platform/export.h"

extern "C" {
/// Descriptor of the reply queue, -1 when it could not be opened. Debug thread only.
extern PLU_EXPORT int32_t mqr;
}

/// Thread entry; the argument is ignored. Returns null when a queue cannot be opened, else never.
void *plu_debug_thread(void *argument);
