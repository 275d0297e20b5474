// The library calls of a command, recorded once and made again alone: what the command would cost
// if it did nothing itself.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

class library_calls {
public:
    /// Runs `action` and keeps its searches, exact-match lookups and node reads, in their order.
    explicit library_calls(const std::function<void()> &action);

    /// Makes the calls again; returns how many succeeded.
    uint64_t repeat() const;

    size_t size() const { return calls_.size(); }

    enum class kind : uint8_t { search, lookup, node_read };
    struct call {
        kind what;
        uint8_t arguments[23];    // key, front of the entry, or hardware index
    };

private:
    std::vector<call> calls_;
};
