// Ctrl-C and its relatives: counted, never fatal by themselves.
#pragma once

namespace client {

/// Counts SIGINT, SIGTERM and SIGHUP from now on (system calls are interrupted) and ignores
/// SIGPIPE.
void interrupts_install();

/// How many have arrived since the last reset.
int interrupts_seen();
void interrupts_reset();

/// Counts one more, as if Ctrl-C had been pressed.
void interrupts_request();

/// True once SIGTERM or SIGHUP has arrived: not the command alone is to end.
bool termination_seen();

}    // namespace client
