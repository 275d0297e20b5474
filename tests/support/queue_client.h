// A plain client of the debug channel for tests over real queues.
#pragma once

#include <mqueue.h>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Moves the calling process (and its children) to queues of its own where the system allows it, so
/// that test runs on one machine do not meet. Call it before any thread exists.
void use_private_queues();

/// Both queues of a running process; closed with their owner.
class queue_client {
public:
    /// Waits until the process has opened its queues, at most 10 seconds.
    queue_client();
    ~queue_client();
    queue_client(const queue_client &) = delete;
    queue_client &operator=(const queue_client &) = delete;
    queue_client(queue_client &&) = delete;
    queue_client &operator=(queue_client &&) = delete;

    bool connected() const { return requests_ != -1 && replies_ != -1; }
    mqd_t requests() const { return requests_; }
    mqd_t replies() const { return replies_; }

    bool send(const std::string &name, uint64_t a1 = 0, uint64_t a2 = 0, uint64_t a3 = 0) const;

    /// Next message as it came; nothing when none came within 10 seconds.
    std::optional<std::string> receive() const;

    /// Texts of one reply up to its end marker; nothing when the marker did not come. Every text
    /// message must be 232 bytes long and end in a NUL.
    std::optional<std::vector<std::string>> reply() const;

private:
    mqd_t requests_ = -1;
    mqd_t replies_ = -1;
};
