// One client at a time: a lock file that every user of the card can take. Who waits longest is
// next, so that a client with many requests makes way between two of them. While a request is under
// way the file holds its client's pid; a pid that outlived its lock tells the next client that a
// reply may have been left behind.
#pragma once

#include <sys/types.h>

#include <string>

#include "client/base/file_handle.h"

namespace client {

class turn_lock {
public:
    /// Opens the lock file. Without one (no writable place) the lock is always granted.
    turn_lock();
    /// Removes the file when nobody uses it and nothing was left behind.
    ~turn_lock();
    turn_lock(const turn_lock &) = delete;
    turn_lock &operator=(const turn_lock &) = delete;
    turn_lock(turn_lock &&) = delete;
    turn_lock &operator=(turn_lock &&) = delete;

    /// Takes the lock if it is free and nobody else waits for it; from then on this client waits.
    /// Never blocks.
    [[nodiscard]] bool try_take();

    /// The pid in the file: while waiting the holder's, right after try_take that of a client that
    /// left without finishing; 0 when there is none.
    [[nodiscard]] pid_t pid_in_file() const;

    /// Marks a request as under way, and the end of its reply. Requires the lock.
    void mark_busy() const;
    void mark_idle() const;

    /// Gives up the lock, or the place among those who wait for it.
    void release();

private:
    void open_file();
    bool become_next();
    void leave_queue();
    [[nodiscard]] bool is_in_place() const;

    std::string path_;
    file_handle file_;
    bool next_ = false;    // the others who wait come after this client
};

}    // namespace client
