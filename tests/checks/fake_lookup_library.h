// The library's lookup functions, answering as a test says.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "platform/plu_library.h"
#include "records/tree.h"

inline constexpr int fake_not_found = 0x4d7e0001;

struct fake_lookup_library {
    // phu_search
    int search_rc = 0;
    leaf *search_leaf = nullptr;
    mask128 search_mask{};
    uint8_t search_hint_level = 0;
    std::vector<std::string> searched;    // keys, as prefix text of the whole address

    // Exact match: texts of the prefixes that exist, host bits as handed in.
    std::set<std::string> existing;
    std::vector<std::string> looked_up;
    int ctx_init_rc = 0;
    int entry_ctx_rc = 0;
    plu_entry_ctx last_entry_ctx{};

    // The end node that every key reaches.
    mask128 hardware_mask{};
    int node_read_rc = 0;

    /// Called at every exact-match question.
    void (*on_lookup)() = nullptr;
};

/// The one library of a test binary; clear it at the start of a test. Sets the phu_search slot.
fake_lookup_library &fake_library();
fake_lookup_library &fresh_fake_library();
