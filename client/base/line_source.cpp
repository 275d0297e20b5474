#include "client/base/line_source.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "client/base/interrupt.h"

namespace client {
namespace {

constexpr int slice_ms = 50;    // an interrupt that comes right before a wait is seen after it
constexpr size_t block = size_t{64} * 1024;
constexpr size_t longest_line = size_t{1024} * 1024;
constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";

}    // namespace

// A named pipe without a writer is waited for in next(), where an interrupt ends the wait.
line_source::line_source(const std::string &name)
    : name_(name.empty() || name == "-" ? "standard input" : name),
      file_(name.empty() || name == "-" ? -1
                                        : open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)),
      descriptor_(name.empty() || name == "-" ? STDIN_FILENO : file_.get()) {
    if (descriptor_ < 0) {
        failed(std::strerror(errno));
    }
}

line_source::event line_source::failed(const std::string &reason) {
    error_ = "cannot read '" + name_ + "': " + reason;
    return event::failed;
}

line_source::event line_source::refill() {
    for (;;) {
        if (interrupts_seen() > 0) {
            return event::interrupted;
        }
        pollfd waiting{descriptor_, POLLIN, 0};
        const int ready = poll(&waiting, 1, slice_ms);
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            continue;
        }
        std::array<char, block> bytes{};
        const ssize_t count = ready < 0 ? -1 : read(descriptor_, bytes.data(), bytes.size());
        if (count > 0) {
            buffer_.erase(0, start_);
            start_ = 0;
            buffer_.append(bytes.data(), static_cast<size_t>(count));
            return event::line;
        }
        if (count == 0) {
            return event::end;
        }
        if (errno != EINTR && errno != EAGAIN) {
            return failed(std::strerror(errno));
        }
    }
}

void line_source::pass_on(std::string &line, size_t end) {
    line.assign(buffer_, start_, end - start_);
    if (std::exchange(at_start_, false) && line.starts_with(byte_order_mark)) {
        line.erase(0, byte_order_mark.size());
    }
}

line_source::event line_source::next(std::string &line) {
    if (!error_.empty()) {
        return event::failed;
    }
    size_t searched = start_;
    for (;;) {
        const size_t end = buffer_.find('\n', searched);
        if (end != std::string::npos) {
            pass_on(line, end);
            start_ = end + 1;
            return event::line;
        }
        if (buffer_.size() - start_ > longest_line) {
            return failed("a line is longer than 1 MiB");
        }
        searched = buffer_.size() - start_;    // refill moves the rest to the front
        const event got = refill();
        if (got == event::end && start_ < buffer_.size()) {
            pass_on(line, buffer_.size());
            start_ = buffer_.size();
            return event::line;
        }
        if (got != event::line) {
            return got;
        }
    }
}

}    // namespace client
