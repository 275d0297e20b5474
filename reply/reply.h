// The reply path: every command prints through these two functions. Debug thread only.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr size_t plu_output_buffer_size = 102400;
inline constexpr size_t plu_reply_text_max = 230;    // characters that one message carries

/// Formats into the output buffer (bound 102400 bytes) and sends the result as one message.
void plu_debug_printf(const char *format, ...) __attribute__((format(printf, 1, 2)));

/// Sends a finished text as one message, without the formatter.
void plu_debug_send(const char *text);

/// Messages sent so far.
extern uint64_t plu_debug_messages;

/// Moments so far at which the thread may have stood still while the library changed the tree: a
/// message, a register read, a library call. What was read of the tree before such a moment is read
/// again after it.
extern uint64_t plu_debug_pauses;
