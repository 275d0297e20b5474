// C interface of the event library. An event manager's handle is its address; handles live as long
// as the process.
#include <cerrno>
#include <cstring>
#include <exception>
#include <list>
#include <mutex>

#include "platform/event.h"
#include "platform/export.h"
#include "simcard/os/event_manager.h"

namespace {

using simcard::event_manager;
using simcard::process_timer;

std::mutex managers_lock;
std::list<event_manager> managers;

event_manager *create_manager() {
    const std::scoped_lock hold(managers_lock);
    event_manager &manager = managers.emplace_back();
    if (manager.valid()) {
        return &manager;
    }
    managers.pop_back();
    return nullptr;
}

/// The manager of a handle; null with errno set when there is none of that address.
event_manager *manager_of(const void *handle) {
    const std::scoped_lock hold(managers_lock);
    for (event_manager &manager : managers) {
        if (&manager == handle) {
            return &manager;
        }
    }
    errno = EBADF;
    return nullptr;
}

bool receive_buffer_fits(const event_context &context) {
    if (context.receive_buffer != nullptr && context.receive_size >= sizeof(signalfd_siginfo)) {
        return true;
    }
    errno = EINVAL;
    return false;
}

}    // namespace

PLU_EXPORT void *event_manager_create(int, const char *device, int, uint64_t *lwm_chan) {
    if (device == nullptr || device[0] == '\0') {
        errno = EINVAL;
        return nullptr;
    }
    try {
        event_manager *manager = create_manager();
        if (manager != nullptr && lwm_chan != nullptr) {
            *lwm_chan = reinterpret_cast<uintptr_t>(manager);
        }
        return manager;
    } catch (const std::exception &) {
        errno = ENOMEM;
        return nullptr;
    }
}

PLU_EXPORT int event_async_attach_proctimer(void *handle, int, int, event_handler handler,
                                            void *argument, int, timer_t *timer_id) {
    event_manager *manager = manager_of(handle);
    if (manager == nullptr) {
        return -1;
    }
    if (handler == nullptr || timer_id == nullptr) {
        errno = EINVAL;
        return -1;
    }
    try {
        const process_timer *timer = manager->attach(handler, argument);
        if (timer == nullptr) {
            return -1;
        }
        *timer_id = timer->id();
        return 0;
    } catch (const std::exception &) {
        errno = ENOMEM;
        return -1;
    }
}

PLU_EXPORT int event_block(event_context *context) {
    const event_manager *manager = manager_of(context->event_manager);
    if (manager == nullptr || !receive_buffer_fits(*context)) {
        return -1;
    }
    signalfd_siginfo received = {};
    if (!manager->wait(&received)) {
        return -1;
    }
    // The event travels to the dispatch in the caller's own buffer.
    memcpy(context->receive_buffer, &received, sizeof received);
    return 0;
}

PLU_EXPORT int kq_event_dispatch(event_context *context, int) {
    const event_manager *manager = manager_of(context->event_manager);
    if (manager == nullptr || !receive_buffer_fits(*context)) {
        return -1;
    }
    signalfd_siginfo received = {};
    memcpy(&received, context->receive_buffer, sizeof received);
    const process_timer *timer = manager->source(received);
    if (timer == nullptr) {
        return -1;
    }
    timer->expire();
    return 0;
}
