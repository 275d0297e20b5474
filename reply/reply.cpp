#include "reply/reply.h"

#include <cstdarg>
#include <cstdio>

#include "reply/reply_sink.h"

uint64_t plu_debug_messages = 0;
uint64_t plu_debug_pauses = 0;

namespace {
char output_buffer[plu_output_buffer_size];
}

void plu_debug_printf(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(output_buffer, sizeof output_buffer, format, arguments);
    va_end(arguments);
    plu_debug_send(output_buffer);
}

void plu_debug_send(const char *text) {
    ++plu_debug_messages;
    ++plu_debug_pauses;
    plu_debug_reply(text);
}
