// The reply path: every command prints through plu_debug_printf. Debug thread only.
#pragma once

#include <cstddef>

inline constexpr size_t plu_output_buffer_size = 102400;
inline constexpr size_t plu_reply_text_max = 230;    // characters that one message carries

/// Sends one text message: the first 230 characters of `text`, zero-padded to 232 bytes. Returns
/// the result of mq_send. Tests and benchmarks link a sink of their own in its place.
int plu_debug_reply(const char *text);

/// Formats into the output buffer (bound 102400 bytes) and sends the result as one message.
void plu_debug_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));
