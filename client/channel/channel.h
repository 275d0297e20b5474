// The two message queues, as the client holds them. Nothing here waits longer than the short poll
// of receive_polling.
#pragma once

#include <mqueue.h>

#include <array>
#include <chrono>
#include <string_view>

#include "client/base/file_handle.h"
#include "records/request.h"

namespace client {

enum class received { text, end, nothing };

class channel {
public:
    /// Opens both queues of the running process. Returns 0 or the errno of the first failure.
    [[nodiscard]] int open();

    /// True when the queues were removed since they were opened: the process restarted.
    [[nodiscard]] bool replaced() const;

    /// Tells these queues from those of an earlier or later run of the process.
    [[nodiscard]] unsigned long generation() const;

    [[nodiscard]] long requests_waiting() const;
    [[nodiscard]] long replies_waiting() const;

    /// Returns 0 or an errno; EAGAIN when the queue is full.
    [[nodiscard]] int send(const plu_debug_request &request) const;

    /// Takes back a request that the process has not taken yet. True when it was still there.
    [[nodiscard]] bool withdraw(const plu_debug_request &request) const;

    /// Takes the next message if there is one; `text` is valid until the next call.
    [[nodiscard]] received receive(std::string_view &text);

    /// As receive, polling for a few tens of microseconds: being woken for every message would make
    /// a long reply several times slower. Does not poll with a single processor, or while all are
    /// busy with other work.
    [[nodiscard]] received receive_polling(std::string_view &text);

    /// For poll(): readable when a message waits.
    [[nodiscard]] int reply_descriptor() const { return replies_.get(); }

private:
    using clock = std::chrono::steady_clock;

    bool may_poll(clock::time_point now);

    file_handle requests_;
    file_handle replies_;
    clock::time_point no_polling_before_{};
    long pushed_aside_ = 0;    // times that other work took the processor away, as of the last look
    std::array<char, plu_queue_message_size> buffer_{};
};

}    // namespace client
