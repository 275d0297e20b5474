// Preloaded before the C library: lets the POSIX calls of start-up fail as planned. What is not
// planned runs as ever, but the timer, whose id is a fake one.
#include <pthread.h>
#include <csignal>
#include <ctime>

#include "tests/frame/fake_control.h"

/// The planned result of a call, or what the function behind this one returns.
template <typename... Arguments>
static int planned_or_next(const char *plan, const char *name, Arguments... arguments) {
    const long planned = fake_result(plan, 0);
    const auto next = reinterpret_cast<int (*)(Arguments...)>(dlsym(RTLD_NEXT, name));
    return planned != 0 ? static_cast<int>(planned) : next(arguments...);
}

FAKE_EXPORT int timer_settime(timer_t timer, int flags, const itimerspec *schedule,
                              itimerspec *old) noexcept {
    fake_log("timer_settime %p %d interval %ld.%ld first %ld.%ld %s\n", timer, flags,
             schedule->it_interval.tv_sec, schedule->it_interval.tv_nsec, schedule->it_value.tv_sec,
             schedule->it_value.tv_nsec, old == nullptr ? "null" : "other");
    return static_cast<int>(fake_result("timer_settime", 0));
}

FAKE_EXPORT int sigemptyset(sigset_t *set) noexcept {
    return planned_or_next("sigemptyset", "sigemptyset", set);
}

FAKE_EXPORT int sigaddset(sigset_t *set, int signal_number) noexcept {
    char plan[32];
    snprintf(plan, sizeof plan, "sigaddset+%d", signal_number - SIGRTMIN);
    return planned_or_next(plan, "sigaddset", set, signal_number);
}

FAKE_EXPORT int pthread_sigmask(int how, const sigset_t *set, sigset_t *old) noexcept {
    return planned_or_next(set == nullptr ? "" : "pthread_sigmask", "pthread_sigmask", how, set,
                           old);
}

FAKE_EXPORT int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                               void *(*entry)(void *), void *argument) noexcept {
    return planned_or_next("pthread_create", "pthread_create", thread, attributes, entry, argument);
}
