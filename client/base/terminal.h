// The operator's terminal: its size, and waiting for its keys.
#pragma once

#include <termios.h>

#include <cstddef>

namespace client {

struct terminal_size {
    size_t rows;
    size_t columns;
};

/// As the terminal says, else as LINES and COLUMNS say, else 24 by 80.
terminal_size size_of_terminal(int descriptor);

/// Waits until there is something to read. False when a signal came first: one that `signal_seen`
/// tells of already, or any that is handled meanwhile (errno EINTR). None slips in between the look
/// and the wait.
bool wait_for_input(int descriptor, bool (*signal_seen)());

/// Typed characters stay unseen until this ends, so that they do not mix with a reply.
class quiet_keys {
public:
    /// With `one_by_one` they come without waiting for a whole line, and earlier ones are dropped.
    quiet_keys(int descriptor, bool one_by_one);
    ~quiet_keys();
    quiet_keys(const quiet_keys &) = delete;
    quiet_keys &operator=(const quiet_keys &) = delete;
    quiet_keys(quiet_keys &&) = delete;
    quiet_keys &operator=(quiet_keys &&) = delete;

private:
    int descriptor_;
    bool changed_ = false;
    termios before_{};
};

/// The next key. Requires quiet_keys that come one by one. -1 at the end of
/// the input, or once `signal_seen` says so.
int read_key(int descriptor, bool (*signal_seen)());

}    // namespace client
