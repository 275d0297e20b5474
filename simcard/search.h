// Longest-prefix search in the tree.
#pragma once

#include <cstdint>

#include "simcard/tree.h"

namespace simcard {

/// Result of one search: the longest match, and the mask and trail of the hinted nodes on the way.
struct SearchResult {
    leaf *best = nullptr;
    uint8_t level = 0;
    uint8_t hint_level = 0;
    mask128 hint_mask{};
    hint_trail_entry trail[hint_trail_entries]{};
};

/// Fills a fresh result. Throws `Damaged` when a record on the way is not what belongs there.
void search(const Memory &memory, const Key &key, SearchResult &result);

}    // namespace simcard
