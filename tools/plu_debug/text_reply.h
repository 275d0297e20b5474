// Runs one command and prints its reply as text.
#pragma once

#include "tools/plu_debug/arguments.h"
#include "tools/plu_debug/options.h"
#include "tools/plu_debug/output.h"

namespace client {

/// Returns the exit status; tells failures on standard error.
exit_status run_as_text(const parsed_command &command, const options &chosen, output &out);

}    // namespace client
