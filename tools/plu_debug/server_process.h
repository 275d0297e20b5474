// Finding the process behind the queues, and noticing its end. Looked up only when an answer is
// late: the search reads all of /proc.
#pragma once

#include <sys/types.h>

#include <optional>

#include "tools/plu_debug/file_handle.h"

namespace client {

struct server_process {
    pid_t pid;
    bool holds_queues;       // it has the request queue open
    bool can_look_inside;    // its open files could be read; otherwise holds_queues is unknown
};

/// The process that has the request queue open or, where other users' files cannot be read, one
/// that is named plu_bkg. None when there is no such process.
std::optional<server_process> find_server();

/// A descriptor that becomes readable when the process ends; closed when the kernel has none.
file_handle watch_process(pid_t pid);

/// True when a process that find_server returned has ended.
bool process_ended(pid_t pid, const file_handle &watch);

/// False when this user is kept from seeing other users' processes, so that seeing none says
/// nothing.
bool processes_visible();

/// The largest total size of message queues that the process's user may hold; none when unknown.
std::optional<unsigned long> queue_limit_of(pid_t pid);

}    // namespace client
