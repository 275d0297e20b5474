// Creation of the debug thread.
#pragma once

#include <pthread.h>

/// Blocks SIGRTMIN+6 and SIGRTMIN+10 on the calling thread, for good, and starts the debug thread,
/// which inherits the blocked set. The thread's id goes to `thread`; null is allowed. Aborts when
/// the signals cannot be blocked; a thread that cannot be created is not reported.
void plu_debug_thread_create(pthread_t *thread);
