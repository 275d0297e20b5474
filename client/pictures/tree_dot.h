// The neighbourhood of a tree node as a Graphviz file.
#pragma once

#include <string>

#include "client/replies/tree_view.h"

namespace client {

std::string tree_dot(const tree_view &view);

}    // namespace client
