// The process's tables as pictures.
#pragma once

#include <string>
#include <vector>

#include "client/answers/ending.h"
#include "client/answers/local_report.h"
#include "client/words/options.h"

namespace client {

/// plu_debug banks --svg [FILE]: the bank map. A FILE is replaced when the picture is whole;
/// without one, or with '-', the picture goes to standard output.
ending run_banks(const std::vector<std::string> &words, const options &chosen,
                 local_report &report);

/// plu_debug tree NODE --dot [FILE]: a tree node, the nodes above it, its children and prefixes.
ending run_tree(const std::vector<std::string> &words, const options &chosen, local_report &report);

}    // namespace client
