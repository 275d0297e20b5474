#include "client/base/terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace client {
namespace {

size_t from_environment(const char *name, size_t otherwise) {
    const char *text = std::getenv(name);
    const unsigned long number = text == nullptr ? 0 : std::strtoul(text, nullptr, 10);
    return number > 0 && number < 10000 ? number : otherwise;
}

}    // namespace

quiet_keys::quiet_keys(int descriptor, bool one_by_one) : descriptor_(descriptor) {
    changed_ = tcgetattr(descriptor, &before_) == 0;
    termios keys = before_;
    keys.c_lflag &= ~static_cast<tcflag_t>(one_by_one ? ICANON | ECHO : ECHO);
    if (one_by_one) {
        keys.c_cc[VMIN] = 1;
        keys.c_cc[VTIME] = 0;
    }
    if (changed_) {
        tcsetattr(descriptor, one_by_one ? TCSAFLUSH : TCSADRAIN, &keys);
    }
}

quiet_keys::~quiet_keys() {
    if (changed_) {
        tcsetattr(descriptor_, TCSADRAIN, &before_);
    }
}

terminal_size size_of_terminal(int descriptor) {
    winsize size{};
    const bool known = ioctl(descriptor, TIOCGWINSZ, &size) == 0;
    return {known && size.ws_row > 0 ? size.ws_row : from_environment("LINES", 24),
            known && size.ws_col > 0 ? size.ws_col : from_environment("COLUMNS", 80)};
}

bool wait_for_input(int descriptor, bool (*signal_seen)()) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCONT, SIGWINCH}) {
        sigaddset(&blocked, signal);
    }
    sigprocmask(SIG_BLOCK, &blocked, &before);
    pollfd entry{descriptor, POLLIN, 0};
    const bool ready = !signal_seen() && ppoll(&entry, 1, nullptr, &before) > 0;
    const int error = errno;
    sigprocmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return ready;
}

int read_key(int descriptor, bool (*signal_seen)()) {
    unsigned char key = 0;
    while (!wait_for_input(descriptor, signal_seen)) {
        if (signal_seen() || errno != EINTR) {
            return -1;
        }
    }
    return read(descriptor, &key, 1) == 1 ? key : -1;
}

}    // namespace client
