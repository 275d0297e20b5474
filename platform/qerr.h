// Error-code facility of the operating platform.
#pragma once

extern "C" {
/// Registers an error module's message file. Returns 0, or an error code for qerr_strerror.
int qerr_register_dll(int module, const char *message_file);

/// Text describing an error code; never null.
const char *qerr_strerror(int code);
}
