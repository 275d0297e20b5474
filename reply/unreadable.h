// Names the addresses that a command needed and could not read, each once and only so many.
// Debug thread only.
#pragma once

#include <cstdint>

inline constexpr int unreadable_named_max = 20;    // of one command

/// Starts a command, or one check of several: nothing is named yet.
void unreadable_begin();

/// Sends "address 0x%lx is not readable\n" unless it was sent for this address since the beginning;
/// from the 21st address on only counts. Not to be called between the pieces of a line.
[[gnu::cold]] void report_unreadable(const void *record);
inline void report_unreadable(uint64_t address) {
    report_unreadable(reinterpret_cast<const void *>(address));
}

/// Ends what unreadable_begin began: sends "%d further addresses are not readable\n" when some were
/// only counted.
void unreadable_end();
