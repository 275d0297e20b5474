#include "frame/debug_thread.h"

#include <csignal>

#include "console/server.h"
#include "frame/assertion.h"

namespace {

void block_platform_signals() {
    sigset_t signals;
    int rc = sigemptyset(&signals);
    require(rc == 0, "rc == 0");
    rc = sigaddset(&signals, SIGRTMIN + 6);
    require(rc == 0, "rc == 0");
    rc = sigaddset(&signals, SIGRTMIN + 10);
    require(rc == 0, "rc ==0");
    rc = pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    require(rc == 0, "rc == 0");
}

}    // namespace

void plu_debug_thread_create(pthread_t *thread) {
    static pthread_t private_slot;
    block_platform_signals();
    // Without a debug thread the process still does its background work.
    static_cast<void>(pthread_create(thread != nullptr ? thread : &private_slot, nullptr,
                                     plu_debug_thread, nullptr));
}
