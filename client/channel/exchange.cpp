#include "client/channel/exchange.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <thread>

#include "client/base/interrupt.h"
#include "client/base/printable.h"
#include "client/channel/channel.h"
#include "client/channel/drain_report.h"
#include "client/channel/open_failure.h"
#include "client/channel/reply_wait.h"
#include "client/channel/turn_lock.h"

namespace client {
namespace {

using clock = std::chrono::steady_clock;

constexpr milliseconds lock_retry{5};
constexpr milliseconds notice_after{1000};

std::string holder_text(const turn_lock &lock) {
    const pid_t holder = lock.pid_in_file();
    return holder != 0 ? "another client, pid " + std::to_string(holder) : "another client";
}

/// Waits for the lock; names the holder when that takes long.
exchange_result take_turn(turn_lock &lock, milliseconds limit) {
    const auto start = clock::now();
    bool told = false;
    for (;;) {
        if (interrupts_seen() > 0) {
            return {outcome::interrupted, "interrupted"};
        }
        if (lock.try_take()) {
            return {};
        }
        const auto waited = clock::now() - start;
        if (waited > limit) {
            return {outcome::busy, "busy: " + holder_text(lock) + ", uses the debug channel"};
        }
        if (!told && waited > notice_after) {
            notice("waiting for " + holder_text(lock) + ", which uses the debug channel");
            told = true;
        }
        std::this_thread::sleep_for(lock_retry);
    }
}

class conversation {
public:
    conversation(turn_lock &lock, channel &queues, const time_limits &limits)
        : lock_(lock), queues_(queues), limits_(limits) {}

    exchange_result run(const plu_debug_request &request, reply_reader &reader);

private:
    exchange_result synchronise();
    exchange_result send(const plu_debug_request &request);
    exchange_result relay(reply_reader &reader);
    exchange_result drain_to_end();
    void give_up(const plu_debug_request &request, bool drains);

    turn_lock &lock_;
    channel &queues_;
    time_limits limits_;
};

exchange_result conversation::send(const plu_debug_request &request) {
    const int error = queues_.send(request);
    if (error == 0) {
        return {};
    }
    if (error == EAGAIN) {
        return {outcome::not_taken, "busy: " + std::to_string(queues_.requests_waiting()) +
                                        " requests already wait for the process"};
    }
    return {outcome::channel_broken,
            std::string("cannot send the request: ") + std::strerror(error)};
}

// A request with a name that nobody else uses: everything before its answer belongs to somebody who
// left. Its answer is the line that names it, and the end marker after that.
exchange_result conversation::synchronise() {
    static unsigned count = 0;
    const std::string name =
        "plu_debug-sync-" + std::to_string(getpid()) + '-' + std::to_string(++count);
    const plu_debug_request request = make_request(name, 0, 0, 0);
    exchange_result result = send(request);
    if (result.kind != outcome::done) {
        return result;
    }
    reply_wait wait(queues_, limits_, false);
    drain_report drained("draining the reply of a command whose client left");
    bool answered = false;
    for (;;) {
        const reply_wait::step step = wait.next(&drained, 0);
        if (step.what == received::nothing) {
            (void)queues_.withdraw(request);
            return step.failure;
        }
        if (step.what == received::end && answered) {
            return {};
        }
        answered = answered || step.text.find(name) != std::string_view::npos;
        drained.piece(step.text);
    }
}

exchange_result conversation::drain_to_end() {
    reply_wait wait(queues_, limits_, false);
    drain_report drained("interrupted; draining the rest of the reply (Ctrl-C leaves at once)");
    for (;;) {
        const reply_wait::step step = wait.next(&drained, 1);
        if (step.what != received::text) {
            return step.failure;
        }
        drained.piece(step.text);
    }
}

// Nobody may want the rest, but the process sends it all the same.
void tell_unread(reply_reader &reader, std::string_view text, std::optional<drain_report> &unread) {
    if (!unread && !reader.wanted()) {
        reader.pause();
        unread.emplace("nobody reads the rest of the reply (Ctrl-C leaves at once)");
    }
    if (unread) {
        unread->piece(text);
    }
}

exchange_result conversation::relay(reply_reader &reader) {
    reply_wait wait(queues_, limits_, true);
    std::optional<drain_report> unread;
    bool first = true;
    bool foreign = false;
    for (;;) {
        const reply_wait::step step = wait.next(&reader, 0);
        if (step.what == received::nothing) {
            return step.failure;
        }
        // Words that come while the request still waits answer somebody else's.
        foreign = first ? queues_.requests_waiting() > 0 : foreign;
        first = false;
        if (step.what == received::text && !foreign) {
            reader.piece(step.text);
            tell_unread(reader, step.text, unread);
        } else if (step.what == received::end && !foreign) {
            return {};
        } else if (step.what == received::end) {
            first = true;
        }
    }
}

// A request that was not taken is taken back. One that was taken is owed a reply: after an
// interrupt it is drained here, else the busy mark tells the next client to do so.
void conversation::give_up(const plu_debug_request &request, bool drains) {
    if (queues_.withdraw(request) || (drains && drain_to_end().kind == outcome::done)) {
        lock_.mark_idle();
    }
}

exchange_result conversation::run(const plu_debug_request &request, reply_reader &reader) {
    const bool left_behind =
        lock_.pid_in_file() != 0 || queues_.replies_waiting() > 0 || queues_.requests_waiting() > 0;
    lock_.mark_busy();
    exchange_result result = left_behind ? synchronise() : exchange_result{};
    if (result.kind != outcome::done) {
        return result;
    }
    result = send(request);
    if (result.kind != outcome::done) {
        lock_.mark_idle();
        return result;
    }
    result = relay(reader);
    if (result.kind != outcome::done) {
        reader.pause();
        give_up(request, result.kind == outcome::interrupted && reader.wanted());
        return result;
    }
    lock_.mark_idle();
    return result;
}

// Between two commands of this client, too, the process may have gone and come back.
void notice_restart(const channel &queues) {
    static unsigned long known = 0;
    const unsigned long now = queues.generation();
    if (known != 0 && now != known) {
        notice("the process restarted since the last command; its addresses may have changed");
    }
    known = now;
}

}    // namespace

exchange_result exchange(const plu_debug_request &request, const time_limits &limits,
                         reply_reader &reader) {
    static turn_lock lock;
    exchange_result result = take_turn(lock, limits.first);
    if (result.kind != outcome::done) {
        lock.release();
        return result;
    }
    channel queues;
    const int error = queues.open();
    if (error != 0) {
        result = explain_open_failure(error);
    } else {
        notice_restart(queues);
        result = conversation(lock, queues, limits).run(request, reader);
    }
    reader.pause();
    lock.release();
    return result;
}

plu_debug_request make_request(std::string_view name, uint64_t a1, uint64_t a2, uint64_t a3) {
    plu_debug_request request{};
    name.copy(request.name, sizeof request.name - 1);
    request.a1 = a1;
    request.a2 = a2;
    request.a3 = a3;
    return request;
}

void notice(const std::string &text) {
    const std::string line = "plu_debug: " + printable(text) + '\n';
    (void)!write(STDERR_FILENO, line.data(), line.size());
}

}    // namespace client
