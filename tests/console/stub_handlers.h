// Command handlers for tests of the channel itself: each records its call and runs a hook.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct handler_call {
    std::string command;
    uint64_t a1, a2, a3;
    bool operator==(const handler_call &) const = default;
};

/// Calls since the last reset; safe while a server thread runs.
std::vector<handler_call> handler_calls();

/// Forgets the calls and sets what runs inside every handler; null for nothing.
void reset_handlers(std::function<void(const handler_call &)> hook = nullptr);
