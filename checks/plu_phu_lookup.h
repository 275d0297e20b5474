// Asks the two lookup paths of the library the same question: the search path (or the hardware
// nodes), which yields the prefix lengths on the way, and the exact-match path, which says whether
// one prefix of one length exists.
#pragma once

#include <cstdint>

#include "platform/export.h"
#include "platform/plu_library.h"
#include "records/tree.h"

extern "C" {
/// Found leaves that lie below the shared memory since the last cklkup started, and the same events
/// counted for limiting their lines. Debug thread only.
extern PLU_EXPORT int32_t phu_plu_lookup_lf_mismatch_count;
extern PLU_EXPORT int32_t phu_plu_lookup_lf_mismatch_disp;
}

/// Longest length that both paths know for an entry's whole address, 0 for none. The entry's length
/// byte is overwritten. `*found` receives the leaf of phu_search (null after a reported leaf
/// mismatch). `expected` is only shown; `original` and `node` name the question in the mismatch
/// line and may be null.
int32_t phu_plu_lookup(pfx_entry &entry, leaf **found, int32_t expected, bool verbose,
                       const leaf *original, const tn *node);

/// The same through the hardware nodes. Lengths above `expected` are remembered on the way down to
/// it; an expected length of 0 takes the first one that exists.
int32_t phu_hw_plu_lookup(pfx_entry &entry, int32_t expected, bool verbose);

/// Looks one entry up by its exact length: 0 when it exists, a code of the library otherwise.
int plu_entry_lookup(const pfx_entry &entry, plu_lookup_values &values, uint32_t (&results)[2]);

/// Fills the bucket of every hash table for which the entry has a value, null for the others.
void plu_entry_ctx_fill_buckets(plu_entry_ctx &context);

/// Clears the address bits behind the entry's length. Nothing for an unknown type and for lengths
/// from the family maximum on.
void pfx_entry_clear_host_bits(pfx_entry &entry);
