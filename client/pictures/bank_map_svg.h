// The bank map as a picture.
#pragma once

#include <string>

#include "client/replies/card_usage.h"

namespace client {

/// A whole SVG document: a cell per bank with its fill, coloured by stride level, and the levels
/// with their sums as the legend.
std::string bank_map_svg(const bank_map &map, const std::string &when);

}    // namespace client
