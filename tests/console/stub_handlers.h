// What stands around the channel in its tests: command handlers that record their calls and run a
// hook, and the platform's _dlopen with files that cannot be opened, symbols that are missing.
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

struct fake_loader_state {
    std::string absent_file;       // this one cannot be opened
    std::string missing_symbol;    // no library has this one
    void *plu_shm = nullptr;       // what the common library's own variables hold
    void *phu_shm = nullptr;
    std::vector<std::string> opened;    // files asked for, in order
};

fake_loader_state &fake_loader();
