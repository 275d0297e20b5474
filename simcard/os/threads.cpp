// Threads and the system manager of the stand-in platform.
#include <pthread.h>
#include <sched.h>
#include <cstring>

#include "platform/event.h"
#include "platform/export.h"
#include "platform/sysmgr.h"

namespace {
constexpr size_t thread_name_size = 16;    // what the kernel keeps, terminator included
}

PLU_EXPORT int getprio(int thread) {
    sched_param parameters = {};
    return sched_getparam(thread, &parameters) == 0 ? parameters.sched_priority : -1;
}

PLU_EXPORT int set_thread_name(const char *name, pthread_t thread) {
    char kept[thread_name_size] = {};
    memcpy(kept, name, strnlen(name, sizeof kept - 1));
    return pthread_setname_np(thread, kept);
}

PLU_EXPORT int sysmgr_proc_ready(void) {
    return 0;    // nothing on a desk waits for the process
}
