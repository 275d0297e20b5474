// What changed between two recordings.
#pragma once

#include <string>
#include <vector>

#include "client/answers/ending.h"
#include "client/answers/local_report.h"
#include "client/words/options.h"

namespace client {

/// plu_debug diff A B: added and removed prefixes in order, then the sums per VRF and family.
/// Status 0 when the two hold the same prefixes, 1 when they differ or a line was no prefix.
ending run_diff(const std::vector<std::string> &words, const options &chosen, local_report &report);

}    // namespace client
