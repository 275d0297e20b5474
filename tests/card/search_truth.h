// The narrated search compared with the true longest match.
#pragma once

#include <string>

#include "tbm/search.h"
#include "tests/card/powered_card.h"

struct Tally {
    int searched = 0;
    int shorter = 0;    // covers reported below a child that could not be hinted
    int errors = 0;
};

/// Runs the narrated search for a key; `text` gets what it told.
tbm_search_result searched(const simcard::Key &key, std::string &text);

/// Searches random addresses inside and outside of the model's prefixes. Every difference from the
/// longest match must be a shorter cover below a child that could not be hinted.
Tally compare_with_longest_match(simcard::Card &card, const TableModel &model, int probes);
