// Loading of the library functions that commands call. Debug thread only.
#pragma once

/// Fills f_vector unless it is complete. Returns 0 when all slots are set, 1 after a failure, whose
/// line it has sent; slots filled before keep their values and the next call starts over.
[[nodiscard]] int plu_debug_load_functions();
