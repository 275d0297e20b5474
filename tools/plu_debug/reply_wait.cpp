#include "tools/plu_debug/reply_wait.h"

#include <poll.h>

#include <algorithm>
#include <array>

#include "tools/plu_debug/interrupt.h"

namespace client {
namespace {

using clock = std::chrono::steady_clock;

// How long the process may be silent before it is looked for, and between two looks at it.
constexpr milliseconds look_interval{250};

std::string seconds_text(milliseconds time) {
    std::string text = std::to_string(time.count() / 1000);
    if (time.count() % 1000 != 0) {
        text += '.' + std::to_string(time.count() % 1000 + 1000).substr(1);
        text.erase(text.find_last_not_of('0') + 1);
    }
    return text + " s";
}

std::string pid_text(const std::optional<server_process> &server) {
    return server ? " (pid " + std::to_string(server->pid) + ")" : "";
}

bool readable(const pollfd &entry) {
    return (entry.revents & POLLIN) != 0;
}

}    // namespace

reply_wait::step reply_wait::next(reply_reader *reader, int interrupts_expected) {
    step result;
    if (interrupts_seen() > interrupts_expected) {
        result.failure = {outcome::interrupted, "interrupted"};
        return result;
    }
    result.what = queues_.receive_polling(result.text);
    if (result.what == received::nothing) {
        if (reader != nullptr) {
            reader->pause();
        }
        result = sleep_until_next(reader, interrupts_expected);
    }
    answered_ = answered_ || result.what != received::nothing;
    return result;
}

reply_wait::step reply_wait::sleep_until_next(reply_reader *reader, int interrupts_expected) {
    const auto deadline = clock::now() + limit();
    step result;
    for (;;) {
        result.what = queues_.receive(result.text);
        if (result.what != received::nothing) {
            return result;
        }
        if (interrupts_seen() > interrupts_expected) {
            result.failure = {outcome::interrupted, "interrupted"};
            return result;
        }
        const auto left = std::chrono::ceil<milliseconds>(deadline - clock::now());
        if (left.count() <= 0) {
            result.failure = time_is_over();
            return result;
        }
        std::array<pollfd, 2> entries{
            {{queues_.reply_descriptor(), POLLIN, 0}, {watch_.get(), POLLIN, 0}}};
        const int slice = static_cast<int>(std::min(left, look_interval).count());
        const int ready = poll(entries.data(), entries.size(), slice);
        const bool ended = ready > 0 && readable(entries[1]) && !readable(entries[0]);
        if (ready != 0 && !ended) {
            continue;
        }
        if (reader != nullptr) {
            reader->waiting();
        }
        if (auto trouble = look_for_trouble()) {
            // What it managed to say last counts.
            result.what = queues_.receive(result.text);
            if (result.what == received::nothing) {
                result.failure = std::move(*trouble);
            }
            return result;
        }
    }
}

void reply_wait::find_process() {
    looked_ = true;
    server_ = find_server();
    if (server_ && server_->can_look_inside && !server_->holds_queues) {
        server_.reset();
    }
    if (server_) {
        watch_ = watch_process(server_->pid);
    }
}

std::optional<exchange_result> reply_wait::look_for_trouble() {
    if (queues_.replaced()) {
        return exchange_result{outcome::restarted,
                               "the process restarted before the reply was complete"};
    }
    if (!looked_) {
        find_process();
    }
    if (server_ ? !process_ended(server_->pid, watch_) : !processes_visible()) {
        return std::nullopt;
    }
    if (queues_.requests_waiting() > 0) {
        return exchange_result{outcome::no_process,
                               "no process serves the debug channel: the queues are left over from "
                               "one that has ended"};
    }
    return exchange_result{outcome::died,
                           "the process" + pid_text(server_) + " ended before its reply did"};
}

exchange_result reply_wait::time_is_over() {
    if (!looked_) {
        find_process();
    }
    const std::string who = "the process" + pid_text(server_);
    if (queues_.requests_waiting() > 0) {
        return {outcome::not_taken, who + " is busy: it did not take the request within " +
                                        seconds_text(limit()) + "; the request was withdrawn"};
    }
    return {outcome::no_answer, who + " took the request but sent nothing for " +
                                    seconds_text(limit()) +
                                    (server_ ? "" : "; no such process is to be seen any more")};
}

}    // namespace client
