// Refusals that several commands share. Each sends its one line.
#pragma once

#include <cstddef>
#include <cstdint>

#include "shm/contexts.h"

/// The tree's handle, null after sending "NULL tbm_handle\n". It need not be readable.
tbm_handle_record *tbm_handle_or_report();

/// The same with the contexts derived afresh; the last ones stay when they are lost.
tbm_handle_record *tbm_handle_derive_or_report();

/// True when `address` is at or above plu_shm_ctx; otherwise sends "invalid tn addr: 0x%lx\n".
bool tn_address_valid(uint64_t address);

/// True when [address, address + size) can be read; otherwise names the address
/// (report_unreadable).
bool operator_address_readable(uint64_t address, size_t size);

/// True when [address, address + size) can be written; otherwise sends
/// "address 0x%lx is not writable\n" with `address`.
bool operator_address_writable(uint64_t address, size_t size);

/// Sends "NAME not loaded\n".
void report_not_loaded(const char *name);

/// The function of a slot when it is loaded; otherwise null after report_not_loaded.
template <typename Function>
Function loaded_function(Function slot, const char *name) {
    if (slot == nullptr) {
        report_not_loaded(name);
    }
    return slot;
}
