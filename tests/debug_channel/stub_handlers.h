// Command handlers for tests of the channel itself: each records its call and runs a hook.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct handler_call {
    std::string command;
    uint64_t a1;
    uint64_t a2;
    uint64_t a3;
    bool operator==(const handler_call &) const = default;
};

/// Calls since the last clearing; safe while a server thread runs.
std::vector<handler_call> handler_calls();
void clear_handler_calls();

/// Sets what runs inside every handler, after its call was recorded; null for nothing.
void set_handler_hook(std::function<void(const handler_call &)> hook);
