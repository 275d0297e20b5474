#include "client/base/output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace client {

output::output(int descriptor) : descriptor_(descriptor), guarded_(isatty(descriptor) == 1) {
    buffer_.reserve(capacity);
}

void output::flush() {
    if (sink_ != nullptr) {
        sink_->take(buffer_);
        buffer_.clear();
        return;
    }
    std::string_view rest = buffer_;
    while (!rest.empty() && error_ == 0) {
        const ssize_t written = ::write(descriptor_, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd writable{descriptor_, POLLOUT, 0};    // somebody else made it non-blocking
            (void)poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            error_ = errno;
        }
    }
    buffer_.clear();
}

}    // namespace client
