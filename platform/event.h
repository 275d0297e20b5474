// Event library of the operating platform: event managers, process timers and the event loop.
#pragma once

#include <pthread.h>
#include <cstddef>
#include <cstdint>
#include <ctime>

/// Event context record handed to event_block and kq_event_dispatch. The layout is the event
/// library's; fields that the process does not fill stay 0.
struct event_context {
    void *event_manager;      // 0: handle from event_manager_create
    uint32_t word8;           // 8
    uint32_t pad12;           // 12
    void *receive_buffer;     // 16: lives as long as the loop runs
    uint64_t receive_size;    // 24: bytes in receive_buffer
    uint32_t word32;          // 32
    uint32_t pad36;           // 36
    uint8_t bytes40[16];      // 40
};
static_assert(sizeof(event_context) == 56);
static_assert(offsetof(event_context, word8) == 8);
static_assert(offsetof(event_context, receive_buffer) == 16);
static_assert(offsetof(event_context, receive_size) == 24);
static_assert(offsetof(event_context, word32) == 32);
static_assert(offsetof(event_context, bytes40) == 40);

extern "C" {

/// Runs on the thread that dispatches events; the argument is the one given when attaching.
using event_handler = int (*)(void *argument);

/// Creates an event manager on a device path. Returns its handle, null on failure.
void *event_manager_create(int flags, const char *device, int channels, uint64_t *lwm_chan);

/// Attaches a process timer whose expiries become events of the manager. Returns 0 and writes the
/// timer id, or non-zero with errno set.
int event_async_attach_proctimer(void *event_manager, int event_class, int flags,
                                 event_handler handler, void *argument, int priority,
                                 timer_t *timer_id);

/// Waits for an event. Returns -1 on failure, any other value when an event is ready.
int event_block(event_context *context);

/// Runs the handlers of the event that event_block reported.
int kq_event_dispatch(event_context *context, int flags);

/// Priority of a thread; 0 names the calling thread.
int getprio(int thread);

/// Names a thread for the platform's process listings.
int set_thread_name(const char *name, pthread_t thread);
}
