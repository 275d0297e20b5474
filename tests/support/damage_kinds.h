// Kinds of damage: what a field can hold instead of what belongs there.
#pragma once

#include <optional>
#include <span>

#include "tests/support/damage_places.h"

struct damage_kind {
    const char *name;
    field_kind fits;
    /// The damaged value of a field of that kind; the old one when the place offers none.
    uint64_t (*value)(const damage_place &place, uint64_t old, const damage_map &map);
};

/// Every kind of damage, those of one kind of field together.
extern const std::span<const damage_kind> damage_kinds;

/// The value of a kind of damage at a place; none when the kind does not fit or changes nothing.
std::optional<uint64_t> damaged_value(const damage_kind &kind, const damage_place &place,
                                      const damage_map &map);
