#include "simcard/os/event_manager.h"

#include <cerrno>
#include <cstdint>

#ifndef sigev_notify_thread_id
#define sigev_notify_thread_id _sigev_un._tid
#endif

namespace simcard {

namespace {

sigset_t timer_signal_set() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, timer_signal());
    return signals;
}

int open_signals() {
    const sigset_t signals = timer_signal_set();
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

}    // namespace

int timer_signal() {
    return SIGRTMIN + 6;
}

process_timer::process_timer(event_handler handler, void *argument)
    : handler_(handler), argument_(argument) {
    sigevent notification = {};
    notification.sigev_notify = SIGEV_THREAD_ID;
    notification.sigev_signo = timer_signal();
    notification.sigev_value.sival_ptr = this;
    notification.sigev_notify_thread_id = gettid();
    created_ = timer_create(CLOCK_MONOTONIC, &notification, &id_) == 0;
}

process_timer::~process_timer() {
    if (created_) {
        timer_delete(id_);
    }
}

event_manager::event_manager() : signals_(open_signals()) {}

const process_timer *event_manager::attach(event_handler handler, void *argument) {
    const sigset_t signals = timer_signal_set();
    const int blocked = pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    if (blocked != 0) {
        errno = blocked;
        return nullptr;
    }
    const process_timer &timer = timers_.emplace_back(handler, argument);
    if (timer.valid()) {
        return &timer;
    }
    const int error = errno;
    timers_.pop_back();
    errno = error;
    return nullptr;
}

bool event_manager::wait(signalfd_siginfo *received) const {
    ssize_t length = 0;
    do {
        length = read(signals_.get(), received, sizeof *received);
    } while (length == -1 && errno == EINTR);
    return length == static_cast<ssize_t>(sizeof *received);
}

const process_timer *event_manager::source(const signalfd_siginfo &received) const {
    if (received.ssi_code != SI_TIMER) {
        return nullptr;
    }
    for (const process_timer &timer : timers_) {
        if (reinterpret_cast<uintptr_t>(&timer) == received.ssi_ptr) {
            return &timer;
        }
    }
    return nullptr;
}

}    // namespace simcard
