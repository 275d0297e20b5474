// A reply sink that counts, and keeps the text only when it is asked to.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

struct reply_totals {
    uint64_t messages = 0;
    uint64_t bytes = 0;
};

/// What was sent since the start of the program.
const reply_totals &replies_sent();

/// Runs `action` and returns what it sent, joined.
std::string replies_of(const std::function<void()> &action);
