// What the client's exit status means, in every mode.
#pragma once

#include <span>

namespace client {

enum exit_status : int {
    status_done = 0,
    status_findings = 1,
    status_usage = 2,
    status_no_answer = 3,
    status_interrupted = 130
};

struct status_row {
    exit_status status;
    const char *meaning;
};

/// Every status with its meaning, for help and manual.
std::span<const status_row> all_statuses();

}    // namespace client
