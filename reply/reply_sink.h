// Where replies leave the process: one message per text. Debug thread only.
#pragma once

#include <cstdint>

#include "platform/export.h"

extern "C" {
/// Descriptor of the reply queue, -1 until it is open. Written by the server.
extern PLU_EXPORT int32_t mqr;
}

/// Sends one text message: the first 230 characters of `text`, zero-padded to 232 bytes. Returns
/// the result of mq_send. Tests and benchmarks link a sink of their own in its place.
int plu_debug_reply(const char *text);
