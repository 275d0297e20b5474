// The interactive shell.
#pragma once

#include "tools/plu_debug/exit_status.h"
#include "tools/plu_debug/line_editor.h"
#include "tools/plu_debug/options.h"
#include "tools/plu_debug/output.h"

namespace client {

/// Reads and runs lines until the operator leaves (0), interrupts the draining of an interrupted
/// reply, or the terminal or a signal ends the shell (130). A command that fails ends nothing.
exit_status run_shell(const options &chosen, line_editor &editor, output &terminal);

}    // namespace client
