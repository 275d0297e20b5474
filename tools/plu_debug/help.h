// What the client says about itself.
#pragma once

#include <string>
#include <vector>

#include "tools/plu_debug/ending.h"
#include "tools/plu_debug/local_report.h"
#include "tools/plu_debug/options.h"

namespace client {

/// plu_debug help [NAME]: the whole help, or one command's. An unknown name is wrong usage.
ending run_help(const std::vector<std::string> &words, const options &chosen, local_report &report);

/// plu_debug version: one line.
ending run_version(const std::vector<std::string> &words, const options &chosen,
                   local_report &report);

}    // namespace client
