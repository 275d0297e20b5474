// Guard for addresses that an operator typed: asks the kernel instead of faulting.
#pragma once

#include <cstddef>
#include <cstdint>

/// True when [address, address + size) can be read by this process; sends nothing.
bool address_readable(uint64_t address, size_t size);

/// The same for an address that an operator typed. Otherwise sends
/// "address 0x%lx is not readable\n" with `address` and returns false. When the kernel refuses the
/// question altogether the answer is true.
bool operator_address_readable(uint64_t address, size_t size);

/// True when [address, address + size) can be written by this process; nothing is changed by
/// asking. Otherwise sends "address 0x%lx is not writable\n" with `address` and returns false. For
/// a few bytes: each 32-bit word of the range is asked for. When the kernel refuses the question
/// altogether the answer is true.
bool operator_address_writable(uint64_t address, size_t size);
