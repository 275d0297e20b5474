// The tree node behind a hardware index.
#pragma once

#include <cstdint>
#include <span>

#include "records/tree.h"

/// First node in pre-order whose hw_index has the same bits 0-23, internal nodes and nodes without
/// a hardware node (hw_index 0) excepted; null when there is none. Without a tree sends "NULL
/// tbm_handle\n".
tn *phu_find_tn_by_hw_index(uint32_t hw_index);

/// Owners wanted for `count` consecutive indexes from `first` on; owners[i] is filled with what
/// phu_find_tn_by_hw_index yields for the index plus i, but for its line.
struct hw_index_range {
    uint32_t first;
    uint32_t count;
    tn **owners;
};

/// While one lives, phu_find_tn_by_hw_index answers from what one pass over the tree found at its
/// beginning, as far as that still holds: for a command that asks for every node it shows.
class remembered_owners {
public:
    remembered_owners();
    ~remembered_owners();
    remembered_owners(const remembered_owners &) = delete;
    remembered_owners &operator=(const remembered_owners &) = delete;
    remembered_owners(remembered_owners &&) = delete;
    remembered_owners &operator=(remembered_owners &&) = delete;
};

/// Fills all ranges in one pass over the tree.
void phu_find_owners(std::span<const hw_index_range> ranges);
