// How full the card is: its banks and stride levels as measurements.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/plu_debug/bank_map.h"

namespace client {

struct card_usage {
    bank_map banks;
    std::vector<std::pair<int64_t, int64_t>> levels;    // stride level, its phu->str.a
};

/// Reads the replies of banksum and dump. Returns what is unexpected in them, or nothing.
std::string read_card_usage(const std::vector<std::string> &summary,
                            const std::vector<std::string> &context, card_usage &usage);

}    // namespace client
