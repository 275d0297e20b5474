// The interactive shell.
#pragma once

#include "client/base/exit_status.h"
#include "client/base/output.h"
#include "client/words/options.h"

namespace client {

/// Reads and runs lines until the operator leaves (0), interrupts the draining of an interrupted
/// reply, or the terminal or a signal ends the shell (130). A command that fails ends nothing.
exit_status run_shell(const options &chosen, output &terminal);

}    // namespace client
