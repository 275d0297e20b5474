// The narrated search compared with the true longest match.
#pragma once

#include "tests/card/powered_card.h"

struct Tally {
    int exact = 0;
    int shorter = 0;    // covers reported below a child that could not be hinted
    int errors = 0;
};

/// Asks v4 and v6, `probes` times each, for random addresses inside and outside of the model's
/// prefixes, in VRF 0 and in others, and holds the result line against the longest prefix of the
/// model that holds the address. Every difference must be a shorter cover of the model, or none,
/// below a child that could not be hinted.
Tally compare_with_longest_match(const TableModel &model, int probes);
