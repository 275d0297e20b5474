#include "client/base/interrupt.h"

#include <atomic>
#include <csignal>

namespace client {
namespace {

std::atomic<int> seen{0};
std::atomic<bool> termination{false};
static_assert(std::atomic<int>::is_always_lock_free);

void count(int signal) {
    if (signal != SIGINT) {
        termination.store(true, std::memory_order_relaxed);
    }
    seen.fetch_add(1, std::memory_order_relaxed);
}

}    // namespace

void interrupts_install() {
    struct sigaction action {};
    action.sa_handler = count;
    sigemptyset(&action.sa_mask);
    struct sigaction before {};
    sigaction(SIGHUP, nullptr, &before);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (signal != SIGHUP || before.sa_handler != SIG_IGN) {    // nohup holds
            sigaction(signal, &action, nullptr);
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t handled;
    sigemptyset(&handled);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&handled, signal);
    }
    sigprocmask(SIG_UNBLOCK, &handled, nullptr);    // whoever started this may have blocked them
}

int interrupts_seen() {
    return seen.load(std::memory_order_relaxed);
}

void interrupts_reset() {
    seen.store(0, std::memory_order_relaxed);
}

void interrupts_request() {
    seen.fetch_add(1, std::memory_order_relaxed);
}

bool termination_seen() {
    return termination.load(std::memory_order_relaxed);
}

}    // namespace client
