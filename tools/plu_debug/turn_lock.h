// One client at a time: a lock file that every user of the card can take. While a request is under
// way the file holds its client's pid; a pid that outlived its lock tells the next client that a
// reply may have been left behind.
#pragma once

#include <sys/types.h>

#include <string>

#include "tools/plu_debug/file_handle.h"

namespace client {

class turn_lock {
public:
    /// Opens the lock file. Without one (no writable place) the lock is always granted.
    turn_lock();

    /// Takes the lock if it is free. Never waits.
    [[nodiscard]] bool try_take();

    /// The pid in the file: while waiting the holder's, right after try_take that of a client that
    /// left without finishing; 0 when there is none.
    [[nodiscard]] pid_t pid_in_file() const;

    /// Marks a request as under way, and the end of its reply. Requires the lock.
    void mark_busy() const;
    void mark_idle() const;

    void release() const;

private:
    void open_file();
    [[nodiscard]] bool is_in_place() const;

    std::string path_;
    file_handle file_;
};

}    // namespace client
