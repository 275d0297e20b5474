// The small card that the fuzz targets work on.
#pragma once

#include <vector>

#include "simcard/card.h"

/// A card with a few dozen prefixes of both families and its records by kind.
struct fuzz_card {
    simcard::Card *card = nullptr;
    std::vector<tn *> nodes;    // pre-order
    std::vector<tree_array *> children;
    std::vector<leaf_array *> leaf_arrays;
    std::vector<leaf *> leaves;
    std::vector<uint32_t> hw_indexes;    // of the nodes

    /// Powers the card on with its table, afresh when it was on before.
    void start();

    /// True when an address lies on the card's own memory.
    [[nodiscard]] bool holds(uint64_t address) const;

private:
    void collect(tn *node);
    void collect(leaf_array *array);
};
