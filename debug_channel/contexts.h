// The located shared contexts and the library functions loaded at run time.
// Written and read on the debug thread only.
#pragma once

#include <cstdint>

#include "phu/records.h"
#include "platform/direct_access.h"
#include "platform/export.h"
#include "platform/phu_library.h"
#include "platform/plu_library.h"
#include "tbm/records.h"

/// The seven library functions in their slot order; a slot is null until it was loaded.
struct plu_function_table {
    plu_entry_function plu_add_entry;
    plu_entry_function plu_delete_entry;
    phu_search_function phu_search;
    phu_lkup_entry_function phu_lkup_entry;
    ot_csr_read_function ot_csr_read;
    ot_csr_write_function ot_csr_write;
    tbmh_count_prefixes_function tbmh_count_prefixes;
};
static_assert(sizeof(plu_function_table) == 56);

extern "C" {
/// Shared-memory blocks of the libraries; null until located (or filled by the library at load).
extern PLU_EXPORT plu_shm_block *plu_shm_ctx;
extern PLU_EXPORT phu_shm_block *phu_shm_ctx;
/// Contexts, recomputed before every command and by every walk. phu_ctx is plu_ctx + 2088 bytes.
extern PLU_EXPORT plu_context *plu_ctx;
extern PLU_EXPORT phu_context *phu_ctx;
extern PLU_EXPORT plu_function_table f_vector;
}

/// Derives plu_ctx and phu_ctx afresh from the shared PLU block, which must have been located.
/// Returns the tree's handle, null when there is no tree or no context any more (both pointers then
/// keep their values); sends nothing.
tbm_handle_record *tbm_handle_derive();

/// The tree's handle from the current phu_ctx; null when there is no tree.
inline tbm_handle_record *tbm_handle_current() {
    return phu_ctx == nullptr ? nullptr : phu_ctx->tbm_handle;
}

/// tbm_handle_current, or null after sending "NULL tbm_handle\n".
tbm_handle_record *tbm_handle_or_report();

/// The root table of a handle; null when the handle, the table or its slots are missing.
tree_array *tbdb_root_of(const tbm_handle_record *handle);

/// Room of the PHU shared memory, from the node in slot 0 of the root table on: 6 GiB.
inline constexpr uint64_t phu_shm_span = 0x180000000;

/// Lower bound of valid leaf and leaf-array addresses: the node in slot 0 of the root table, null
/// without a tree or with an empty slot 0.
const tn *phu_shm_start();

/// True when `address` is at or above plu_shm_ctx; otherwise sends "invalid tn addr: 0x%lx\n".
bool tn_address_valid(uint64_t address);

/// The function of a slot when it is loaded; otherwise sends "NAME not loaded\n" and returns null.
template <typename Function>
Function loaded_function(Function slot, const char *name);

/// Sends "NAME not loaded\n".
void report_not_loaded(const char *name);

template <typename Function>
Function loaded_function(Function slot, const char *name) {
    if (slot == nullptr) {
        report_not_loaded(name);
    }
    return slot;
}
