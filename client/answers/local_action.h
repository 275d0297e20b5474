// What a command of the client's own does, in the order of their words.
#pragma once

#include <string>
#include <vector>

#include "client/answers/ending.h"
#include "client/answers/local_report.h"
#include "client/base/json.h"
#include "client/words/options.h"

namespace client {

struct local_action {
    const char *name;
    ending (*run)(const std::vector<std::string> &words, const options &chosen,
                  local_report &report);
    /// Writes an object of its own shape; null when the text's lines say everything.
    exit_status (*run_as_json)(const std::vector<std::string> &words, const options &chosen,
                               json_writer &json) = nullptr;
};

}    // namespace client
