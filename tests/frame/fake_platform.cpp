// Recording replacements of the operating platform's calls, and of the POSIX calls of start-up:
// these run as ever where nothing is planned, but the timer, whose id is a fake one. FAKE_EVENTS
// says how many events the loop gets before event_block fails; FAKE_SWITCH names exported flags to
// set, separated by blanks.
#include <pthread.h>
#include <csignal>
#include <cstdint>
#include <ctime>

#include "platform/event.h"
#include "platform/osag.h"
#include "platform/qerr.h"
#include "platform/sysmgr.h"
#include "platform/trace_output.h"
#include "tests/frame/fake_control.h"

namespace {

event_handler attached_handler = nullptr;

__attribute__((constructor)) void throw_switches() {
    const char *list = getenv("FAKE_SWITCH");
    char name[64];
    int used = 0;
    while (list != nullptr && sscanf(list, " %63s%n", name, &used) == 1) {
        list += used;
        *static_cast<int32_t *>(process_symbol(name)) = 1;
    }
}

bool context_as_agreed(const event_context *context) {
    const event_context expected = {.event_manager = fake_event_manager(),
                                    .word8 = 0,
                                    .pad12 = 0,
                                    .receive_buffer = context->receive_buffer,
                                    .receive_size = 128,
                                    .word32 = 0,
                                    .pad36 = 0,
                                    .bytes40 = {}};
    const char zeros[128] = {};
    return context == process_symbol("ec") && memcmp(context, &expected, sizeof expected) == 0 &&
           memcmp(context->receive_buffer, zeros, sizeof zeros) == 0;
}

}    // namespace

FAKE_EXPORT void *event_manager_create(int flags, const char *device, int channels,
                                       uint64_t *lwm_chan) {
    fake_log("event_manager_create %d %s %d %s\n", flags, device, channels,
             lwm_chan == process_symbol("plu_bkg_lwm_chan") ? "plu_bkg_lwm_chan" : "other");
    return fake_result("event_manager_create", 1) == 1 ? fake_event_manager() : nullptr;
}

FAKE_EXPORT int event_async_attach_proctimer(void *event_manager, int event_class, int flags,
                                             event_handler handler, void *argument, int priority,
                                             timer_t *timer_id) {
    fake_log("event_async_attach_proctimer %s %d %d %s %d\n", evm_text(event_manager), event_class,
             flags, argument == nullptr ? "null" : "other", priority);
    attached_handler = handler;
    *timer_id = reinterpret_cast<timer_t>(0x77);
    return static_cast<int>(fake_result("event_async_attach_proctimer", 0));
}

FAKE_EXPORT int event_block(event_context *context) {
    static const char *const events = getenv("FAKE_EVENTS");
    static long left = events == nullptr ? 0 : atol(events);
    fake_log("event_block %s\n", context_as_agreed(context) ? "ec" : "other");
    return left-- > 0 ? static_cast<int>(left) : -1;
}

FAKE_EXPORT int kq_event_dispatch(event_context *context, int flags) {
    fake_log("kq_event_dispatch %s %d\n", context == process_symbol("ec") ? "ec" : "other", flags);
    int unused = 0;
    fake_log("handler result %d\n", attached_handler(&unused));
    return 0;
}

FAKE_EXPORT int getprio(int thread) {
    fake_log("getprio %d\n", thread);
    return 10;
}

FAKE_EXPORT int set_thread_name(const char *name, pthread_t thread) {
    fake_log("set_thread_name %s %s\n", name, thread == pthread_self() ? "self" : "other");
    return 0;
}

FAKE_EXPORT int sysmgr_proc_ready(void) {
    fake_log("sysmgr_proc_ready\n");
    return static_cast<int>(fake_result("sysmgr_proc_ready", 0));
}

FAKE_EXPORT int qerr_register_dll(int module, const char *message_file) {
    fake_log("qerr_register_dll %d %s\n", module, message_file);
    return static_cast<int>(fake_result("qerr_register_dll", 0));
}

FAKE_EXPORT const char *qerr_strerror(int code) {
    static char text[32];
    snprintf(text, sizeof text, "text of %d", code);
    errno = EDOM;
    return text;
}

// Trace lines stand in the log with a bar at their end, so that a line end within shows.
FAKE_EXPORT void buginf(const void *, int, int, const char *, ...) {
    fake_log("buginf|\n");    // no handle is live here
}

FAKE_EXPORT void kq_syslog(int level, const char *format, ...) {
    fake_log("syslog %d ", level);
    va_list arguments;
    va_start(arguments, format);
    fake_vlog(format, arguments);
    va_end(arguments);
    fake_log("|\n");
}

FAKE_EXPORT mqd_t osag_mq_open(const char *name, int flags, mode_t mode, mq_attr *attributes) {
    const auto planned = static_cast<mqd_t>(fake_result(name, 0));
    return planned == 0 ? mq_open(name, flags, mode, attributes) : planned;
}

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
