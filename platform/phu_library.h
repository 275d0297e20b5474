// The PHU side of the closed PLU/PHU library: node reads (linked) and the search path (loaded at
// run time from libqmt_phu.so).
#pragma once

#include <cstdint>

struct leaf;
struct tbm_handle_record;
struct hint_trail_entry;
struct pfx_entry;
struct mask128;

extern "C" {

/// Reads the 17-byte node image at a hardware index into a zeroed 34-byte buffer. The first
/// argument is always 1. Returns 0 on success.
int phu_hw_read_node(int unit, uint32_t hw_index, void *buffer);

/// Longest-prefix search of one TBM key. Fills the leaf (null when nothing matched), the level, the
/// 128-bit hint mask, the hint level, a 24-byte code area and the 24-entry hint trail.
using phu_search_function = int (*)(tbm_handle_record *handle, const uint8_t *key, leaf **result,
                                    uint8_t *level, mask128 *hint_mask, uint8_t *hint_level,
                                    uint8_t *hint_codes, hint_trail_entry *hint_trail);

/// Looks a prefix entry up in the tree by its exact length.
using phu_lkup_entry_function = int (*)(const pfx_entry *entry, leaf **result);

/// Number of prefixes held in the tree.
using tbmh_count_prefixes_function = int (*)(tbm_handle_record *handle);
}
