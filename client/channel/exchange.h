// One request and its whole reply, whatever happens to the process, to other clients and to this
// one.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "client/base/exit_status.h"
#include "records/request.h"

namespace client {

using milliseconds = std::chrono::milliseconds;

/// How long somebody may do nothing at all.
struct time_limits {
    milliseconds first{30000};    // other clients; the process, before its first answer
    milliseconds gap{120000};     // the process, before each further one
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
    /// False when nobody reads what it makes of further text.
    [[nodiscard]] virtual bool wanted() const { return true; }
};

/// Writes a line for the operator to standard error.
void notice(const std::string &text);

/// Sends the request and passes the reply on. Waits for other clients, drains what a killed client
/// left behind, and gives up when the process does nothing for a limit. An interrupt ends the
/// reply: what still comes is drained, so that the next command starts clean; a second one leaves
/// at once.
exchange_result exchange(const plu_debug_request &request, const time_limits &limits,
                         reply_reader &reader);

/// A whole request record. Requires a name of at most 231 characters.
plu_debug_request make_request(std::string_view name, uint64_t a1, uint64_t a2, uint64_t a3);

}    // namespace client
