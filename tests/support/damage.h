// Places where the records of a card can be damaged: every field of its contexts and of its tree
// that somebody follows, counts with or trusts.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "records/context.h"
#include "records/tree.h"

/// What a damaged field means to its readers.
enum class field_kind : uint8_t { pointer, count, flags, bitmap, number };

/// What a record or a block of slots is; `none` for fields that are no pointers.
enum class record_kind : uint8_t {
    none,
    context,
    handle,
    stride_map,
    pool,
    child_array,
    child_slots,
    node,
    leaf_array,
    leaf_slots,
    leaf,
};
inline constexpr size_t record_kinds = 11;

/// One field, with its old value as the map found it.
struct damage_place {
    const char *field;    // "tn.sn_charray"
    std::string where;    // root slot and chunks that lead to its record, "160/4/16"
    void *at;             // perhaps not aligned
    uint8_t size;         // 1, 2, 4 or 8 bytes
    field_kind kind;
    record_kind target;    // of a pointer
    const void *above;     // record of the target's kind nearest above the place, null without one

    [[nodiscard]] uint64_t value() const;
    void set(uint64_t value) const;
};

/// A card's places and records.
struct damage_map {
    std::vector<damage_place> places;
    std::array<std::vector<const void *>, record_kinds> records;    // each in walk order
    const void *garbage;    // 4096 readable bytes of anything, 8-byte aligned
};

/// Maps a sound card from its shared block down. Without garbage of its own the map brings some.
damage_map map_damage(plu_shm_block &block, const void *garbage = nullptr);

/// Damages a place while it lives; puts the value back that stood there.
class planted_damage {
public:
    planted_damage(const damage_place &place, uint64_t value)
        : place_(place), old_(place.value()), planted_(value) {
        place.set(value);
    }
    ~planted_damage() { place_.set(old_); }
    planted_damage(const planted_damage &) = delete;
    planted_damage &operator=(const planted_damage &) = delete;
    planted_damage(planted_damage &&) = delete;
    planted_damage &operator=(planted_damage &&) = delete;

    /// True while nobody else has written the place.
    [[nodiscard]] bool stands() const { return place_.value() == planted_; }

private:
    damage_place place_;
    uint64_t old_;
    uint64_t planted_;
};

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
