// Main thread of the process: start-up, then the event loop. Every start-up failure ends the
// process with status 0; after the loop the debug thread serves on.
#include <pthread.h>

#include "frame/background_timer.h"
#include "frame/debug_thread.h"
#include "frame/event_loop.h"
#include "frame/library_start.h"
#include "frame/registration.h"
#include "platform/sysmgr.h"

int main() {
    if (plu_bkg_evm_init() != 0) {
        return 0;
    }
    plu_bkg_error_init();
    if (plu_bkg_timer_init(plu_bkg_evm) != 0 || plu_bkg_timer_start() != 0) {
        return 0;
    }
    sysmgr_proc_ready();
    if (!plu_library_start(plu_bkg_evm)) {
        return 0;
    }
    pthread_t debug_thread = {};
    plu_debug_thread_create(&debug_thread);
    plu_bkg_thread_loop();
    pthread_exit(nullptr);
}
