// Software search through the tree, as the forwarding hardware walks it, verifying the stored hint
// data on the way.
#pragma once

#include <cstdint>

#include "records/tree.h"

inline constexpr uint32_t tbm_search_no_node = 0x4d7e8800;    // empty root slot or child slot

/// Result of one search; zeroed before use.
struct tbm_search_result {
    leaf *best;                                    // longest match, null none
    uint8_t level;                                 // descents made
    uint8_t hint_level;                            // descents through hint search nodes
    mask128 calculated_mask;                       // at the last hinted node
    hint_trail_entry trail[hint_trail_entries];    // entry i: hint node met at hint level i
};

/// Detail level that the search hands to the node dump; set by the v4 command alone.
extern uint32_t tbm_search_detail;

/// Narrates the search of a key on the reply channel and reports verification failures as
/// "ERR PHU" lines. Returns 0 when the walk ended normally, tbm_search_no_node otherwise.
uint32_t tbm_search_hint(const tbm_handle_record *handle, const uint8_t *key,
                         tbm_search_result &result);
