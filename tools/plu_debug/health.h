// "Is the card healthy?": all checks, a line each.
#pragma once

#include <string>
#include <vector>

#include "tools/plu_debug/json.h"
#include "tools/plu_debug/options.h"
#include "tools/plu_debug/quiet_run.h"

namespace client {

struct check_result {
    const char *name;
    quiet_result run;
    bool clean;
    std::string finding;    // what speaks against it: the bad counters, or the first telling line
};

/// Runs one check. Misses that a lookup check does not show are held against the number of default
/// routes, which always miss.
check_result run_check(const char *name, const time_limits &limits);

/// The checks in the order in which they run.
const std::vector<const char *> &health_checks();

/// plu_debug health: one line a check, or one JSON object.
exit_status run_health(const std::vector<std::string> &words, const options &chosen,
                       json_writer &json);

}    // namespace client
