// The counters of the checks and summaries for a monitoring system.
#pragma once

#include <string>
#include <vector>

#include "client/answers/ending.h"
#include "client/answers/local_report.h"
#include "client/words/options.h"

namespace client {

/// plu_debug metrics [FILE]: the Prometheus text format, as the node exporter's textfile collector
/// reads it; a FILE is replaced when it is whole. Also says so when the process cannot be asked.
ending run_metrics(const std::vector<std::string> &words, const options &chosen,
                   local_report &report);

}    // namespace client
