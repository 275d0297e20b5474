// One request and its whole reply, whatever happens to the process, to other clients and to this
// one.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "debug_channel/request.h"
#include "tools/plu_debug/exit_status.h"

namespace client {

using milliseconds = std::chrono::milliseconds;

struct time_limits {
    milliseconds first{30000};    // for other clients, and for the first answer
    milliseconds gap{120000};     // for each further one; the long checks are silent until they end
};

enum class outcome {
    done,
    no_process,
    no_permission,
    queue_limit,
    channel_broken,    // the queues are not as the process makes them, or the system refuses
    busy,              // another client had the channel for the whole time
    not_taken,         // the process did not take the request for the whole time
    no_answer,         // taken, but silent for too long
    died,              // the process ended before its reply did
    restarted,
    interrupted
};

struct exchange_result {
    outcome kind = outcome::done;
    std::string message;    // for the operator; empty when done
};

/// done 0, interrupted 130, everything else 3.
exit_status status_of(outcome kind);

/// One word for machine output, such as "no_process".
const char *outcome_name(outcome kind);

/// Receives a reply as it arrives.
class reply_reader {
public:
    reply_reader() = default;
    reply_reader(const reply_reader &) = delete;
    reply_reader &operator=(const reply_reader &) = delete;
    reply_reader(reply_reader &&) = delete;
    reply_reader &operator=(reply_reader &&) = delete;
    virtual ~reply_reader() = default;

    /// The next piece of text.
    virtual void piece(std::string_view text) = 0;
    /// The reply pauses: what was buffered should be shown.
    virtual void pause() {}
    /// The pause goes on; called a few times a second.
    virtual void waiting() {}
};

/// Writes a line for the operator to standard error.
void notice(const std::string &text);

/// Sends the request and passes the reply on. Waits for other clients, drains what a killed client
/// left behind, and gives up after `limit` without a first answer, and after each such gap in the
/// reply. An interrupt ends the reply: what still comes is drained, so that the next command starts
/// clean; a second one leaves at once.
exchange_result exchange(const plu_debug_request &request, const time_limits &limits,
                         reply_reader &reader);

/// A whole request record. Requires a name of at most 231 characters.
plu_debug_request make_request(std::string_view name, uint64_t a1, uint64_t a2, uint64_t a3);

}    // namespace client
