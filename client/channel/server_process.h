// Finding the process behind the queues, and seeing what becomes of it. Looked up only when an
// answer is late: the search reads all of /proc.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

#include "client/base/file_handle.h"

namespace client {

enum class sight {
    serves,    // it has the request queue open
    idle,      // named plu_bkg, but without queues
    hidden     // named plu_bkg; this user may not see whether it has these queues or others
};

struct server_process {
    pid_t pid;
    sight seen;
};

/// The process that has the request queue open, else one that may have it, else one that is named
/// plu_bkg. None when there is no such process.
std::optional<server_process> find_server();

/// A descriptor that becomes readable when the process ends; closed when the kernel has none.
file_handle watch_process(pid_t pid);

/// True when a process that find_server returned has ended.
bool process_ended(pid_t pid, const file_handle &watch);

struct thread_activity {
    char state = '?';     // as in /proc; T and t are stopped
    uint64_t time = 0;    // of the processor, in ticks
};

/// What the threads do that answer requests: all but the first, or it alone. Empty when it cannot
/// be seen.
std::optional<thread_activity> activity_of(pid_t pid);

/// False when this user is kept from seeing other users' processes, so that seeing none says
/// nothing.
bool processes_visible();

/// The largest total size of message queues that the process's user may hold; none when unknown.
std::optional<unsigned long> queue_limit_of(pid_t pid);

}    // namespace client
