// Preloaded before the C library: lets the POSIX calls of start-up fail as planned. What is not
// planned runs as ever, but the timer, whose id is a fake one.
#include <pthread.h>
#include <csignal>
#include <ctime>

#include "tests/frame/fake_control.h"

namespace {

template <typename Function>
Function next_of(const char *name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}    // namespace

FAKE_EXPORT int timer_settime(timer_t timer, int flags, const itimerspec *schedule,
                              itimerspec *old) noexcept {
    fake_log("timer_settime %p %d interval %ld.%ld first %ld.%ld %s\n", timer, flags,
             schedule->it_interval.tv_sec, schedule->it_interval.tv_nsec, schedule->it_value.tv_sec,
             schedule->it_value.tv_nsec, old == nullptr ? "null" : "other");
    return static_cast<int>(fake_result("timer_settime", 0));
}

FAKE_EXPORT int sigemptyset(sigset_t *set) noexcept {
    const long planned = fake_result("sigemptyset", 0);
    return planned != 0 ? static_cast<int>(planned)
                        : next_of<decltype(&sigemptyset)>("sigemptyset")(set);
}

FAKE_EXPORT int sigaddset(sigset_t *set, int signal_number) noexcept {
    char call[32];
    snprintf(call, sizeof call, "sigaddset+%d", signal_number - SIGRTMIN);
    const long planned = fake_result(call, 0);
    return planned != 0 ? static_cast<int>(planned)
                        : next_of<decltype(&sigaddset)>("sigaddset")(set, signal_number);
}

FAKE_EXPORT int pthread_sigmask(int how, const sigset_t *set, sigset_t *old) noexcept {
    const long planned = set == nullptr ? 0 : fake_result("pthread_sigmask", 0);
    return planned != 0 ? static_cast<int>(planned)
                        : next_of<decltype(&pthread_sigmask)>("pthread_sigmask")(how, set, old);
}

FAKE_EXPORT int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                               void *(*entry)(void *), void *argument) noexcept {
    const long planned = fake_result("pthread_create", 0);
    return planned != 0 ? static_cast<int>(planned)
                        : next_of<decltype(&pthread_create)>("pthread_create")(thread, attributes,
                                                                               entry, argument);
}
