// What memory there is for addresses under test: the card, a page pair of garbage, the C library.
#pragma once

#include <cstddef>
#include <cstdint>

/// Garbage where an operator could have mistyped an address: readable and writable, nothing behind
/// its end.
inline constexpr size_t garbage_words = 1024;
uint64_t *garbage();

/// Addresses for requests: inside the C library, and where nothing is mapped.
uint64_t library_address();
inline constexpr uint64_t unmapped_address = 0x7eb800000000;

/// From now on the kernel's answers cover only the card's memory from `card` on, the garbage and
/// the C library: the fuzzer's own memory counts as not mapped, as no such memory is in the
/// process.
void limit_memory_to(const void *card, size_t size);
