// Saving the table.
#pragma once

#include <string>
#include <vector>

#include "tools/plu_debug/json.h"
#include "tools/plu_debug/options.h"

namespace client {

/// plu_debug record FILE: the recording of all prefixes, one a line. The file appears when it is
/// whole; a count goes to standard error meanwhile.
exit_status run_record(const std::vector<std::string> &words, const options &chosen,
                       json_writer &json);

}    // namespace client
