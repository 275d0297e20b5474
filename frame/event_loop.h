// The main thread's event loop.
#pragma once

#include "platform/event.h"
#include "platform/export.h"

/// Event context of the loop; filled once before the loop starts, used by the main thread only.
extern "C" PLU_EXPORT event_context ec;

/// Fills `ec` for an event manager and the address of the loop's 128-byte receive buffer.
void plu_bkg_event_ctx_init(void *event_manager, void *receive_buffer);

/// Serves the event manager until event_block fails.
void plu_bkg_thread_loop();
