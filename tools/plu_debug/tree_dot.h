// The neighbourhood of a tree node as a Graphviz file.
#pragma once

#include <string>

#include "tools/plu_debug/tree_view.h"

namespace client {

std::string tree_dot(const tree_view &view);

}    // namespace client
