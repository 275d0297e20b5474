// Misses of the lookup checks that are none: default routes have no position in a mask, so the
// checks always miss them, and cklkup shows only its first misses.
#pragma once

#include "client/answers/ending.h"

namespace client {

/// How a command that the process has done ended once its unshown misses are explained: held
/// against the number of default routes in the table, for which the process is asked once more.
/// Misses that cannot be explained are findings.
ending explained_misses(const plu_debug_request &request, const reply_judge &judge,
                        const time_limits &limits, ending how);

}    // namespace client
