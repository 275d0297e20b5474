// Trace handles and debug flags that the process exports; the stand-in platform finds them by name
// in the running executable.
#pragma once

namespace simcard {

/// Name of the trace class whose handle it is, "?" for any other handle.
const char *trace_class_name(const void *handle);

/// Turns on what a comma-separated list names: the trace classes "failure", "progress" and
/// "verification" (their handles become live), or exported debug flags by their own names (set to
/// 1). What the process does not export is reported on standard error and skipped.
void trace_enable(const char *list);

}    // namespace simcard
