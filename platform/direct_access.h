// Direct-access library of the forwarding chips, loaded at run time (libostrel_direct_access.so).
#pragma once

#include <cstdint>

extern "C" {
/// Reads the unit at a 64-bit chip address of one NPU into `out`. Registers fill 4 bytes, node
/// memory fills up to 24. Returns 0 on success.
using ot_csr_read_function = int (*)(int npu, uint64_t address, int width, int count, void *out);

/// Writes one register of one NPU. Returns 0 on success.
using ot_csr_write_function = int (*)(int npu, uint64_t address, int width, int count, int flags,
                                      const void *value);
}
