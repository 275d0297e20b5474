// What the client itself can do on top of the process's commands.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tools/plu_debug/ending.h"
#include "tools/plu_debug/json.h"
#include "tools/plu_debug/local_report.h"
#include "tools/plu_debug/options.h"

namespace client {

struct local_command {
    const char *name;
    const char *form;    // its arguments
    size_t least;        // how many words it needs, and takes at most
    size_t most;
    const char *option;    // an option of its own that must be given; null without one
    const char *meaning;
    ending (*run)(const std::vector<std::string> &words, const options &chosen,
                  local_report &report);
    /// Writes an object of its own shape; null when the text's lines say everything.
    exit_status (*run_as_json)(const std::vector<std::string> &words, const options &chosen,
                               json_writer &json) = nullptr;
};

std::span<const local_command> local_commands();

/// Its name and arguments.
std::string usage_of(const local_command &row);

/// Null when there is none of that name.
const local_command *find_local_command(std::string_view name);

}    // namespace client
