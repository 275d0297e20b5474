// Saving the table.
#pragma once

#include <string>
#include <vector>

#include "client/answers/ending.h"
#include "client/answers/local_report.h"
#include "client/words/options.h"

namespace client {

/// plu_debug record FILE: the recording of all prefixes, one a line. The file appears when it is
/// whole; a count goes to standard error meanwhile.
ending run_record(const std::vector<std::string> &words, const options &chosen,
                  local_report &report);

}    // namespace client
