// Wire format of the debug channel: POSIX message queues, little-endian, one reader and one writer
// each way. The client sends whole 256-byte requests and reads 232-byte texts until a 256-byte
// marker.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr char plu_request_queue[] = "/plu_msg_queue";
inline constexpr char plu_reply_queue[] = "/plu_reply_queue";
inline constexpr long plu_queue_depth = 10;             // messages
inline constexpr long plu_queue_message_size = 256;     // bytes
inline constexpr size_t plu_text_message_size = 232;    // bytes 0-230 text, byte 231 always 0
inline constexpr size_t plu_end_marker_size = 256;      // all bytes 0
inline constexpr size_t plu_command_name_size = 232;

/// One request.
struct plu_debug_request {
    char name[plu_command_name_size];    // 0: NUL-terminated, matched without regard to case
    uint64_t a1;                         // 232
    uint64_t a2;                         // 240
    uint64_t a3;                         // 248
};
static_assert(sizeof(plu_debug_request) == 256);
static_assert(offsetof(plu_debug_request, a1) == 232);
static_assert(offsetof(plu_debug_request, a2) == 240);
static_assert(offsetof(plu_debug_request, a3) == 248);
