// Event managers of the stand-in platform. A process timer is a POSIX timer that signals the thread
// that attached it; that thread keeps the signal blocked and takes it from a signalfd, so no
// handler interrupts anything and no other thread is disturbed.
#pragma once

#include <sys/signalfd.h>
#include <csignal>
#include <ctime>
#include <list>

#include "platform/event.h"
#include "simcard/os/unique_fd.h"

namespace simcard {

/// Signal of the process timers. Users of the platform keep it blocked in their own threads.
int timer_signal();

/// A POSIX timer with the handler of its expiries; deleted with its owner.
class process_timer {
public:
    process_timer(event_handler handler, void *argument);
    ~process_timer();
    process_timer(const process_timer &) = delete;
    process_timer &operator=(const process_timer &) = delete;
    process_timer(process_timer &&) = delete;
    process_timer &operator=(process_timer &&) = delete;

    bool valid() const { return created_; }
    timer_t id() const { return id_; }
    void expire() const { handler_(argument_); }

private:
    event_handler handler_;
    void *argument_;
    timer_t id_ = nullptr;
    bool created_;
};

/// Timers of one event manager and the descriptor on which their signals arrive. Attach, wait and
/// dispatch run on one thread.
class event_manager {
public:
    event_manager();

    bool valid() const { return signals_.valid(); }

    /// Attaches a timer, whose signal becomes blocked on the calling thread. Returns null with
    /// errno set when there can be none.
    const process_timer *attach(event_handler handler, void *argument);

    /// Waits for the next signal. Returns false with errno set on failure.
    bool wait(signalfd_siginfo *received) const;

    /// The timer that raised a signal, null for a signal of another origin.
    const process_timer *source(const signalfd_siginfo &received) const;

private:
    unique_fd signals_;
    std::list<process_timer> timers_;
};

}    // namespace simcard
