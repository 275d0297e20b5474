// Recomputes the best match so far (bmsf) of every node.
#pragma once

#include <cstdint>

#include "platform/export.h"
#include "records/tree.h"

extern "C" {
/// Results of the last ckbmsf. Written by that command only, on the debug thread.
extern PLU_EXPORT int32_t count_bmsf_tn_nodes;         // nodes checked, roots excepted
extern PLU_EXPORT int32_t count_bmsf_no_zero_match;    // agree with a covering leaf
extern PLU_EXPORT int32_t count_bmsf_zero_match;       // no cover and none stored, or no hint node
extern PLU_EXPORT int32_t count_bmsf_not_match;        // the others
}
