#include "tests/support/damage_kinds.h"

#include <algorithm>

namespace {

constexpr uint64_t non_canonical_address = 0x8000000000000;
constexpr uint64_t unmapped_address = 0x7eb800000000;

uint64_t number(const void *address) {
    return reinterpret_cast<uint64_t>(address);
}

/// The record of a kind that comes after the old one in walk order, else the first one.
uint64_t another(record_kind kind, uint64_t old, const damage_map &map) {
    const auto &records = map.records[static_cast<size_t>(kind)];
    const auto at = std::find(records.begin(), records.end(), reinterpret_cast<const void *>(old));
    const bool last = at == records.end() || at + 1 == records.end();
    return records.empty() ? old : number(last ? records.front() : at[1]);
}

/// The record half way through the list of a kind.
uint64_t distant(record_kind kind, uint64_t old, const damage_map &map) {
    const auto &records = map.records[static_cast<size_t>(kind)];
    return records.empty() ? old : number(records[records.size() / 2]);
}

constexpr uint64_t with_stride(uint64_t flags, uint64_t stride) {
    return (flags & ~(uint64_t{0xf} << tn_stride_shift)) | stride << tn_stride_shift;
}
constexpr uint64_t largest_signed(const damage_place &place) {
    return (uint64_t{1} << (8 * place.size - 1)) - 1;
}
constexpr uint64_t all_ones(const damage_place &place) {
    return ~uint64_t{0} >> (64 - 8 * place.size);
}

using place_t = const damage_place &;
using map_t = const damage_map &;

template <record_kind kind>
uint64_t another_record(place_t, uint64_t old, map_t map) {
    return another(kind, old, map);
}
template <uint64_t type>
uint64_t of_type(place_t, uint64_t old, map_t) {
    return (old & ~uint64_t{tn_type_mask}) | type;
}
template <uint64_t stride>
uint64_t of_stride(place_t, uint64_t old, map_t) {
    return with_stride(old, stride);
}

constexpr field_kind pointer = field_kind::pointer;
constexpr field_kind flags = field_kind::flags;
constexpr field_kind bitmap = field_kind::bitmap;

constexpr damage_kind kinds[] = {
    {"null", pointer, [](place_t, uint64_t, map_t) { return uint64_t{0}; }},
    {"off by 1", pointer, [](place_t, uint64_t old, map_t) { return old + 1; }},
    {"off by 4", pointer, [](place_t, uint64_t old, map_t) { return old + 4; }},
    {"off by 8", pointer, [](place_t, uint64_t old, map_t) { return old + 8; }},
    {"non-canonical", pointer, [](place_t, uint64_t, map_t) { return non_canonical_address; }},
    {"unmapped", pointer, [](place_t, uint64_t, map_t) { return unmapped_address; }},
    {"all ones", pointer, [](place_t, uint64_t, map_t) { return ~uint64_t{0}; }},
    {"garbage", pointer, [](place_t, uint64_t, map_t map) { return number(map.garbage); }},
    {"inside a node", pointer,
     [](place_t, uint64_t old, map_t map) { return another(record_kind::node, old, map) + 16; }},
    {"another node", pointer, another_record<record_kind::node>},
    {"another child array", pointer, another_record<record_kind::child_array>},
    {"other child slots", pointer, another_record<record_kind::child_slots>},
    {"another leaf array", pointer, another_record<record_kind::leaf_array>},
    {"other leaf slots", pointer, another_record<record_kind::leaf_slots>},
    {"another leaf", pointer, another_record<record_kind::leaf>},
    {"a distant record of the kind", pointer,
     [](place_t place, uint64_t old, map_t map) { return distant(place.target, old, map); }},
    {"what is above", pointer,
     [](place_t place, uint64_t old, map_t) {
         return place.above == nullptr ? old : number(place.above);
     }},

    {"0", field_kind::count, [](place_t, uint64_t, map_t) { return uint64_t{0}; }},
    {"1", field_kind::count, [](place_t, uint64_t, map_t) { return uint64_t{1}; }},
    {"-1", field_kind::count, [](place_t place, uint64_t, map_t) { return all_ones(place); }},
    {"largest", field_kind::count,
     [](place_t place, uint64_t, map_t) { return largest_signed(place); }},
    {"one more", field_kind::count, [](place_t, uint64_t old, map_t) { return old + 1; }},
    {"one less", field_kind::count, [](place_t, uint64_t old, map_t) { return old - 1; }},

    {"0", field_kind::number, [](place_t, uint64_t, map_t) { return uint64_t{0}; }},
    {"all ones", field_kind::number,
     [](place_t place, uint64_t, map_t) { return all_ones(place); }},
    {"largest", field_kind::number,
     [](place_t place, uint64_t, map_t) { return largest_signed(place); }},
    {"one more", field_kind::number, [](place_t, uint64_t old, map_t) { return old + 1; }},
    {"one less", field_kind::number, [](place_t, uint64_t old, map_t) { return old - 1; }},
    {"top bit", field_kind::number,
     [](place_t place, uint64_t old, map_t) { return old ^ (largest_signed(place) + 1); }},

    {"type 0", flags, of_type<0>},
    {"type 1", flags, of_type<1>},
    {"type 2", flags, of_type<2>},
    {"type 3", flags, of_type<3>},
    {"type 4", flags, of_type<4>},
    {"type 5", flags, of_type<5>},
    {"type 6", flags, of_type<6>},
    {"type 7", flags, of_type<7>},
    {"stride 0", flags, of_stride<0>},
    {"stride 5", flags, of_stride<5>},
    {"stride 7", flags, of_stride<7>},
    {"stride 10", flags, of_stride<10>},
    {"stride 15", flags, of_stride<15>},
    {"inode flag", flags, [](place_t, uint64_t old, map_t) { return old ^ tn_inode_flag; }},
    {"all ones", flags, [](place_t place, uint64_t, map_t) { return all_ones(place); }},

    {"0", bitmap, [](place_t, uint64_t, map_t) { return uint64_t{0}; }},
    {"all ones", bitmap, [](place_t, uint64_t, map_t) { return ~uint64_t{0}; }},
    {"one bit more", bitmap, [](place_t, uint64_t old, map_t) { return old | (old + 1); }},
    {"one bit less", bitmap, [](place_t, uint64_t old, map_t) { return old & (old - 1); }},
    {"moved by one", bitmap, [](place_t, uint64_t old, map_t) { return old << 1 | old >> 63; }},
    {"top bit", bitmap, [](place_t, uint64_t old, map_t) { return old ^ uint64_t { 1 } << 63; }},
};

}    // namespace

const std::span<const damage_kind> damage_kinds(kinds);

std::optional<uint64_t> damaged_value(const damage_kind &kind, const damage_place &place,
                                      const damage_map &map) {
    if (kind.fits != place.kind) {
        return std::nullopt;
    }
    const uint64_t old = place.value();
    const uint64_t value = kind.value(place, old, map) & all_ones(place);
    return value == old ? std::nullopt : std::optional(value);
}
