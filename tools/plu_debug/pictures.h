// The process's tables as pictures.
#pragma once

#include <string>
#include <vector>

#include "tools/plu_debug/json.h"
#include "tools/plu_debug/options.h"

namespace client {

/// plu_debug banks --svg [FILE]: the bank map. A FILE is replaced when the picture is whole;
/// without one, or with '-', the picture goes to standard output.
exit_status run_banks(const std::vector<std::string> &words, const options &chosen,
                      json_writer &json);

/// plu_debug tree NODE --dot [FILE]: a tree node, the nodes above it, its children and prefixes.
exit_status run_tree(const std::vector<std::string> &words, const options &chosen,
                     json_writer &json);

}    // namespace client
