// Capturing reply sink and hand-built records for tests.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Runs `action` and returns what it sent, joined.
std::string captured(const std::function<void()> &action);

/// Runs `action` and returns what it sent, message by message, each cut as the real sink cuts it.
std::vector<std::string> captured_pieces(const std::function<void()> &action);

/// Called after every message: what the library may do meanwhile. Nothing unless a test sets it.
extern std::function<void()> after_message;

using command_function = void (*)(uint64_t a1, uint64_t a2, uint64_t a3);

/// What a command sends, joined and message by message.
inline std::string reply_of(command_function command, uint64_t a1 = 0, uint64_t a2 = 0,
                            uint64_t a3 = 0) {
    return captured([&] { command(a1, a2, a3); });
}
inline std::vector<std::string> pieces_of(command_function command, uint64_t a1 = 0,
                                          uint64_t a2 = 0, uint64_t a3 = 0) {
    return captured_pieces([&] { command(a1, a2, a3); });
}
