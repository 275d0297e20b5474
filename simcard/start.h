// Start of the card for the library functions: options and tables from the environment.
#pragma once

#include <cstdint>

#include "simcard/card.h"

namespace simcard {

/// Powers the card on and loads the tables of SIMCARD_TABLE (files, separated by colons);
/// SIMCARD_NPUS, SIMCARD_ACTIVE_MAP and SIMCARD_MASK_LIMIT override the card's options. Reports the
/// load on standard error. Returns card_ok, or a code when an option or a file is unusable.
uint32_t start_from_environment();

/// Publishes (or, with false, withdraws) the shared blocks in the library's plu_shm_ctx and
/// phu_shm_ctx.
void publish_contexts(bool present);

}    // namespace simcard
