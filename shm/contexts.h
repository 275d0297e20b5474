// The located shared contexts and the library functions loaded at run time.
// Written and read on the debug thread only.
#pragma once

#include <cstdint>

#include "platform/direct_access.h"
#include "platform/export.h"
#include "platform/phu_library.h"
#include "platform/plu_library.h"
#include "records/context.h"
#include "records/tree.h"

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

/// Room of the PHU shared memory, from the node in slot 0 of the root table on: 6 GiB.
inline constexpr uint64_t phu_shm_span = 0x180000000;

/// Derives plu_ctx and phu_ctx afresh from the shared PLU block, which must have been located.
/// False, and both keep their values, when the block holds no context that can be read.
bool plu_ctx_derive();

/// The tree's handle as stored in the current phu_ctx; null when there is no tree.
inline tbm_handle_record *tbm_handle_current() {
    return phu_ctx == nullptr ? nullptr : phu_ctx->tbm_handle;
}

/// The root table as it is at one moment. An unreadable record on the way is `fault`; there are
/// then no slots. `slots` may be followed for `count` entries, the first one also when `count` is
/// 0.
struct root_table {
    tn *const *slots = nullptr;
    int count = 0;
    int stored_count = 0;    // as the record has it, negative too
    const void *fault = nullptr;
};
root_table tbdb_root_of(const tbm_handle_record *handle);

/// Lower bound of valid leaf and leaf-array addresses: the address in slot 0 of the root table,
/// whatever the table's count; null without a tree or with an empty slot 0.
const tn *phu_shm_start();
