// How a command ended, whichever way it went.
#pragma once

#include <string>

#include "client/channel/exchange.h"
#include "client/replies/verdict.h"

namespace client {

struct ending {
    exit_status status = status_done;
    const char *verdict = "ok";      // "incomplete" when there is none
    const char *outcome = "done";    // one word: what became of the command itself
    std::string message;             // what went wrong, or what speaks against the card
};

/// A reply's: what it says, or why it is not whole.
ending ending_of(const exchange_result &result, const reply_judge &judge);

/// Nothing was sent: the words do not fit.
ending wrong_usage(const std::string &message);

/// A file cannot be read or written.
ending file_failure(const std::string &message);

/// Ctrl-C before the next command, or in the middle of the client's own work.
ending interrupted();

}    // namespace client
