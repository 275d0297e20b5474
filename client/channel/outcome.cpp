#include "client/channel/exchange.h"

namespace client {

exit_status status_of(outcome kind) {
    switch (kind) {
        case outcome::done:
            return status_done;
        case outcome::interrupted:
            return status_interrupted;
        default:
            return status_no_answer;
    }
}

const char *outcome_name(outcome kind) {
    switch (kind) {
        case outcome::done:
            return "done";
        case outcome::no_process:
            return "no_process";
        case outcome::no_permission:
            return "no_permission";
        case outcome::queue_limit:
            return "queue_limit";
        case outcome::channel_broken:
            return "channel_broken";
        case outcome::busy:
            return "busy";
        case outcome::not_taken:
            return "not_taken";
        case outcome::no_answer:
            return "no_answer";
        case outcome::died:
            return "died";
        case outcome::restarted:
            return "restarted";
        case outcome::interrupted:
            return "interrupted";
    }
    return "unknown";
}

}    // namespace client
