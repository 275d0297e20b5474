// Runs one command and prints its reply as text.
#pragma once

#include "client/base/output.h"
#include "client/words/arguments.h"
#include "client/words/options.h"

namespace client {

/// Returns the exit status; tells failures on standard error.
exit_status run_as_text(const parsed_command &command, const options &chosen, output &out);

}    // namespace client
