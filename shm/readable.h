// Asks the kernel whether memory can be read or written, instead of faulting.
#pragma once

#include <cstddef>
#include <cstdint>

/// True when [address, address + size) can be read by this process. When the kernel refuses
/// the question altogether the answer is true.
bool address_readable(uint64_t address, size_t size);

/// True when [address, address + size) can be written by this process; nothing is changed by
/// asking. For a few bytes: each 32-bit word of the range is asked for. When the kernel refuses the
/// question altogether the answer is true.
bool address_writable(uint64_t address, size_t size);
