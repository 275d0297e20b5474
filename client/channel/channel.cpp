#include "client/channel/channel.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace client {
namespace {

constexpr std::chrono::microseconds polling_time{50};
constexpr int quick_polls = 8;
constexpr int pauses_per_poll = 8;    // keeps the queue's lock free for the sender

// While the processors are all busy only a sleeper is served at once, and a poller is pushed aside.
constexpr std::chrono::milliseconds sleep_instead{200};

int open_queue(const char *name, int access, file_handle &handle) {
    handle.reset(mq_open(name, access | O_NONBLOCK));
    if (!handle.is_open()) {
        return errno;
    }
    struct mq_attr attributes {};
    if (mq_getattr(handle.get(), &attributes) != 0) {
        return errno;
    }
    return attributes.mq_msgsize == plu_queue_message_size ? 0 : EMSGSIZE;
}

long waiting(const file_handle &queue) {
    struct mq_attr attributes {};
    return mq_getattr(queue.get(), &attributes) == 0 ? attributes.mq_curmsgs : 0;
}

bool single_cpu() {
    static const bool single = [] {
        cpu_set_t usable;
        CPU_ZERO(&usable);
        return sched_getaffinity(0, sizeof usable, &usable) == 0 && CPU_COUNT(&usable) == 1;
    }();
    return single;
}

long involuntary_switches() {
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nivcsw;
}

void breathe() {
    for (int i = 0; i < pauses_per_poll; ++i) {
        __builtin_ia32_pause();
    }
}

}    // namespace

int channel::open() {
    const int error = open_queue(plu_request_queue, O_RDWR, requests_);
    return error != 0 ? error : open_queue(plu_reply_queue, O_RDONLY, replies_);
}

bool channel::replaced() const {
    struct stat status {};
    return fstat(replies_.get(), &status) == 0 && status.st_nlink == 0;
}

unsigned long channel::generation() const {
    struct stat status {};
    return fstat(replies_.get(), &status) == 0 ? status.st_ino : 0;
}

long channel::requests_waiting() const {
    return waiting(requests_);
}

long channel::replies_waiting() const {
    return waiting(replies_);
}

int channel::send(const plu_debug_request &request) const {
    return mq_send(requests_.get(), reinterpret_cast<const char *>(&request), sizeof request, 0) ==
                   0
               ? 0
               : errno;
}

bool channel::withdraw(const plu_debug_request &request) const {
    bool found = false;
    std::vector<plu_debug_request> others;
    plu_debug_request taken{};
    while (others.size() < static_cast<size_t>(plu_queue_depth) &&
           mq_receive(requests_.get(), reinterpret_cast<char *>(&taken), sizeof taken, nullptr) >
               0) {
        if (std::memcmp(&taken, &request, sizeof taken) == 0) {
            found = true;
        } else {
            others.push_back(taken);
        }
    }
    for (const plu_debug_request &other : others) {
        (void)send(other);
    }
    return found;
}

received channel::receive(std::string_view &text) {
    const ssize_t length = mq_receive(replies_.get(), buffer_.data(), buffer_.size(), nullptr);
    if (length < 0) {
        return received::nothing;
    }
    if (static_cast<size_t>(length) == plu_end_marker_size) {
        return received::end;
    }
    text = std::string_view(buffer_.data(), strnlen(buffer_.data(), static_cast<size_t>(length)));
    return received::text;
}

bool channel::may_poll(clock::time_point now) {
    const long pushed_aside = involuntary_switches();
    if (std::exchange(pushed_aside_, pushed_aside) != pushed_aside) {
        no_polling_before_ = now + sleep_instead;
    }
    return now >= no_polling_before_ && !single_cpu();
}

received channel::receive_polling(std::string_view &text) {
    received result = receive(text);
    // The next message of a running reply comes sooner than the clock and the switches are read.
    for (int i = 0; i < quick_polls && result == received::nothing && !single_cpu(); ++i) {
        breathe();
        result = receive(text);
    }
    if (result != received::nothing) {
        return result;
    }
    const auto start = clock::now();
    if (!may_poll(start)) {
        return received::nothing;
    }
    while (clock::now() - start < polling_time) {
        breathe();
        result = receive(text);
        if (result != received::nothing) {
            return result;
        }
    }
    return received::nothing;
}

}    // namespace client
