// The small card that the fuzz targets work on, and what memory there is beside it: a page pair of
// garbage, the C library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "simcard/card.h"
#include "tests/support/damage.h"

/// A card with a few dozen prefixes of both families and its records.
struct fuzz_card {
    simcard::Card *card = nullptr;
    damage_map map;
    std::vector<uint32_t> hw_indexes;    // of the nodes

    /// Powers the card on with its table, afresh when it was on before.
    void start();

    /// Address of one of the records of a kind.
    [[nodiscard]] uint64_t any(record_kind kind, size_t number) const {
        const auto &records = map.records[static_cast<size_t>(kind)];
        return reinterpret_cast<uint64_t>(records[number % records.size()]);
    }
};

/// Garbage where an operator could have mistyped an address: readable and writable, nothing behind
/// its end.
inline constexpr size_t garbage_words = 1024;
uint64_t *garbage();

/// Addresses for requests: inside the C library, and where nothing is mapped.
uint64_t library_address();
inline constexpr uint64_t unmapped_address = 0x7eb800000000;
