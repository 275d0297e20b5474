// The debug thread: serves the request queue, one request at a time.
#pragma once

/// Thread entry; the argument is ignored. Returns null when a queue cannot be opened, else never.
void *plu_debug_thread(void *argument);
