// Where a record belongs: a number made of the root slot and the chunks that lead to its node. The
// card keeps it beside every block that it hands out. No record is so taken for another one, even
// when a pointer, a count or a bitmap is damaged; two places share a number once in two thousand
// million cases.
#pragma once

#include <cstdint>

namespace simcard {

/// The place of what hangs at a node's `n`-th position; never 0.
constexpr uint32_t place_below(uint32_t place, uint32_t n) {
    const uint32_t mixed = (place ^ n) * 0x9e3779b1U;
    return (mixed ^ mixed >> 15) | 1;
}

/// The place of a root slot's node; its arrays and their slots have the same.
constexpr uint32_t root_place(uint32_t slot) {
    return place_below(0x85ebca6bU, slot);
}

/// Position of a search node's internal node; children have 0 to 63.
constexpr uint32_t internal_group = 64;

/// The place of the leaf at a position of an internal node's bitmap. The leaves of a search node
/// belong to the node itself: they stay where they are when it takes an internal node or loses it.
constexpr uint32_t leaf_place(uint32_t place, uint32_t position) {
    return place_below(place, 128 + position);
}

}    // namespace simcard
