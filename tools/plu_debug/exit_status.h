// What the client's exit status means, in every mode.
#pragma once

namespace client {

enum exit_status : int {
    status_done = 0,
    status_findings = 1,     // a check found inconsistencies, or the process refused
    status_usage = 2,        // nothing was sent
    status_no_answer = 3,    // no process, no permission, or no answer in time
    status_interrupted = 130
};

}    // namespace client
