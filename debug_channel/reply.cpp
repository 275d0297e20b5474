#include "debug_channel/reply.h"

#include <cstdarg>
#include <cstdio>

namespace {
char output_buffer[plu_output_buffer_size];
}

void plu_debug_printf(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(output_buffer, sizeof output_buffer, format, arguments);
    va_end(arguments);
    plu_debug_reply(output_buffer);
}
