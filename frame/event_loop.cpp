#include "frame/event_loop.h"

#include <pthread.h>
#include <cstring>

#include "frame/registration.h"
#include "reply/trace.h"

event_context ec = {};

namespace {
constexpr size_t receive_buffer_size = 128;
alignas(16) uint8_t receive_buffer[receive_buffer_size];
}    // namespace

void plu_bkg_event_ctx_init(void *event_manager, void *buffer) {
    ec.event_manager = event_manager;
    ec.word8 = 0;
    ec.receive_buffer = buffer;
    ec.receive_size = receive_buffer_size;
    ec.word32 = 0;
    memset(ec.bytes40, 0, sizeof ec.bytes40);
}

void plu_bkg_thread_loop() {
    set_thread_name("Main", pthread_self());
    memset(receive_buffer, 0, sizeof receive_buffer);
    plu_bkg_event_ctx_init(plu_bkg_evm, receive_buffer);
    PLU_TRACE(trace_class::progress, "PLU: PLU thread loop start\n");
    while (event_block(&ec) != -1) {
        kq_event_dispatch(&ec, 0);
    }
    PLU_TRACE(trace_class::failure, "%s: Event block failed\n", "plu_bkg_thread_loop");
}
