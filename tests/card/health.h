// What holds on a healthy card, as test expectations.
#pragma once

#include "tests/card/powered_card.h"

/// Every checker is clean, and every prefix of the model is found by both lookup paths.
void expect_healthy(const TableModel &model);

/// The figures of banksum, hwidxwalk, hwdis, ckbank, dump and walk belong together: nodes in use
/// are the tree nodes' own nodes, one match-end node per SEARCH_END node, and what waits to be
/// flushed.
void expect_sums_agree();

/// The hardware lookup of a prefix's address ends at a node that names the longest match's length.
void expect_hardware_names_match(const simcard::Key &key, const pfx_entry &entry);

/// The recording holds every prefix of the model once, and nothing else; returns its prefixes.
std::vector<pfx_entry> expect_recorded(const TableModel &model);

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
