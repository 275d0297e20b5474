#include "client/channel/reply_wait.h"

#include <poll.h>

#include <algorithm>
#include <array>

#include "client/base/interrupt.h"

namespace client {
namespace {

// How long the process may be silent before it is looked for, and between two looks at it.
constexpr milliseconds longest_look_interval{250};
// A process that is stopped for a moment only is waited for.
constexpr milliseconds stop_patience{3000};
constexpr milliseconds progress_after{3000};
constexpr milliseconds recently{1500};

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
    line_open_ = result.what == received::text && !result.text.ends_with('\n');
    return result;
}

milliseconds reply_wait::look_interval() const {
    return std::clamp(limit() / 4, milliseconds(1), longest_look_interval);
}

reply_wait::step reply_wait::sleep_until_next(reply_reader *reader, int interrupts_expected) {
    silent_since_ = idle_since_ = clock::now();
    activity_.reset();
    stopped_.reset();
    step result;
    for (;;) {
        result.what = queues_.receive(result.text);
        if (result.what != received::nothing) {
            break;
        }
        if (interrupts_seen() > interrupts_expected) {
            result.failure = {outcome::interrupted, "interrupted"};
            break;
        }
        std::array<pollfd, 2> entries{
            {{queues_.reply_descriptor(), POLLIN, 0}, {watch_.get(), POLLIN, 0}}};
        const int slice = static_cast<int>(look_interval().count());
        const int ready = poll(entries.data(), entries.size(), slice);
        const bool ended = ready > 0 && readable(entries[1]) && !readable(entries[0]);
        if (ready != 0 && !ended) {
            continue;
        }
        if (reader != nullptr) {
            reader->waiting();
        }
        show_progress();
        if (auto trouble = look_for_trouble()) {
            // What it managed to say last counts.
            result.what = queues_.receive(result.text);
            if (result.what == received::nothing) {
                result.failure = std::move(*trouble);
            }
            break;
        }
    }
    status_.clear();
    return result;
}

void reply_wait::show_progress() {
    const auto now = clock::now();
    const auto silence = std::chrono::duration_cast<std::chrono::seconds>(now - silent_since_);
    if (!tells_progress_ || line_open_ || silence < progress_after || silence == shown_) {
        return;
    }
    shown_ = silence;
    const bool works = activity_ && now - idle_since_ < recently;
    status_.show((works ? "still working, " : "no answer yet, ") + seconds_text(silence) +
                 " (Ctrl-C ends it)");
}

void reply_wait::find_process() {
    looked_ = true;
    server_ = find_server();
    if (server_ && server_->seen == sight::idle) {
        server_.reset();
    }
    if (server_ && server_->seen == sight::serves) {
        watch_ = watch_process(server_->pid);
    }
}

void reply_wait::look_at_work() {
    if (!server_ || server_->seen != sight::serves) {
        return;
    }
    const auto now = clock::now();
    const auto activity = activity_of(server_->pid);
    if (activity && activity_ && activity->time != activity_->time) {
        idle_since_ = now;
    }
    if (!activity || activity->state != 'T') {
        stopped_.reset();
    } else if (!stopped_) {
        stopped_ = now;
    }
    activity_ = activity;
}

// What is only named like the process proves nothing by its end.
std::optional<exchange_result> reply_wait::look_for_trouble() {
    if (queues_.replaced()) {
        return exchange_result{outcome::restarted,
                               "the process restarted before the reply was complete"};
    }
    if (!looked_) {
        find_process();
    }
    if (server_ ? server_->seen == sight::serves && process_ended(server_->pid, watch_)
                : processes_visible()) {
        return gone();
    }
    look_at_work();
    return time_is_over();
}

exchange_result reply_wait::gone() const {
    if (queues_.requests_waiting() > 0) {
        return exchange_result{outcome::no_process,
                               "no process serves the debug channel: the queues are left over from "
                               "one that has ended"};
    }
    return exchange_result{outcome::died,
                           "the process" + pid_text(server_) + " ended before its reply did"};
}

std::optional<exchange_result> reply_wait::time_is_over() {
    const auto now = clock::now();
    const bool stopped = stopped_.has_value();
    if (now - idle_since_ < limit() && !(stopped && now - *stopped_ >= stop_patience)) {
        return std::nullopt;
    }
    const bool hidden = server_ && server_->seen == sight::hidden;
    const std::string who =
        "the process" + (hidden ? "" : pid_text(server_)) + (stopped ? " is stopped (T): it" : "");
    const auto silence = std::chrono::duration_cast<std::chrono::seconds>(now - silent_since_);
    const std::string time = seconds_text(std::max<milliseconds>(silence, limit()));
    const std::string why = hidden    ? "; whether it works cannot be seen: it is another user's"
                            : server_ ? (stopped ? "" : ", and uses no processor time")
                                      : "; no such process is to be seen";
    if (queues_.requests_waiting() > 0) {
        return exchange_result{outcome::not_taken, who + " did not take the request within " +
                                                       time + why + "; the request was withdrawn"};
    }
    return exchange_result{outcome::no_answer,
                           who + " took the request but sent nothing for " + time + why};
}

}    // namespace client
