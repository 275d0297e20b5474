// "Is the card healthy?": all checks, a line each.
#pragma once

#include <string>
#include <vector>

#include "client/answers/ending.h"
#include "client/answers/local_report.h"
#include "client/answers/quiet_run.h"
#include "client/base/json.h"
#include "client/words/options.h"

namespace client {

struct check_result {
    const char *name;
    quiet_result run;
    ending how;    // its message names what speaks against the card
};

/// Runs one check. Misses that a lookup check does not show are held against the number of default
/// routes, which always miss.
check_result run_check(const char *name, const time_limits &limits);

/// The checks in the order in which they run.
const std::vector<const char *> &health_checks();

/// plu_debug health: one line a check, or one JSON object.
ending run_health(const std::vector<std::string> &words, const options &chosen,
                  local_report &report);
exit_status run_health_as_json(const std::vector<std::string> &words, const options &chosen,
                               json_writer &json);

}    // namespace client
