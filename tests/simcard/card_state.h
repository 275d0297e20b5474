// What a card looks like, for comparing it with itself and with another one.
#pragma once

#include <map>
#include <vector>

#include "simcard/card.h"

/// The card of this process, powered on afresh.
simcard::Card &fresh_card(uint8_t mask_limit = simcard::default_mask_limit);

/// Everything derived of one node that does not depend on where its records lie.
struct NodeState {
    uint32_t type, state, bmsf, cover_length, ext_count, int_count, match_end;
    mask128 ext, inner, hint, end_copy;
    uint64_t hinted;
    bool operator==(const NodeState &) const = default;
};
using CardState = std::map<std::vector<uint32_t>, NodeState>;

CardState state_of(simcard::Card &card);

/// Every hinted node's images stand in the chip where its indexes say, in use, no place twice.
void expect_hardware_sound(simcard::Card &card);
