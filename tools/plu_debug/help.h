// What the client says about itself.
#pragma once

#include <string>
#include <vector>

#include "tools/plu_debug/json.h"
#include "tools/plu_debug/options.h"

namespace client {

/// plu_debug help [NAME]: the whole help, or one command's. An unknown name is wrong usage.
exit_status run_help(const std::vector<std::string> &words, const options &chosen,
                     json_writer &json);

}    // namespace client
