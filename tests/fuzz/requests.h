// Requests made from a fuzzer's bytes.
#pragma once

#include "records/request.h"
#include "tests/fuzz/card.h"
#include "tests/fuzz/input.h"

/// One request: any command or any name; arguments of the kinds that operators type, right and
/// wrong: numbers, prefixes, addresses of records of every kind, of their middle, of garbage, of
/// the C library, of nothing.
plu_debug_request fuzz_request(const fuzz_card &card, fuzz_input &input);

/// False for a forced dump of gigabytes.
bool fuzz_request_ends(const plu_debug_request &request);

/// True when the request may change the card.
bool fuzz_request_edits(const plu_debug_request &request);
