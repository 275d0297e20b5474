// The small card that the fuzz targets work on.
#pragma once

#include <vector>

#include "simcard/card.h"
#include "tests/support/damage_places.h"

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
