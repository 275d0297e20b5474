// The 42 banks of node memory as the process describes them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace client {

inline constexpr int bank_count = 42;
inline constexpr int stride_level_count = 24;

struct bank_state {
    int64_t size = 0;    // nodes
    int64_t used = 0;
    int64_t level = -1;    // the stride level that it serves; negative for none
    bool taken = false;    // the context holds it in use
};

using bank_map = std::array<bank_state, bank_count>;

/// Reads the replies of banksum and dump. Returns what is unexpected in them, or nothing.
std::string read_bank_map(const std::vector<std::string> &summary,
                          const std::vector<std::string> &context, bank_map &map);

}    // namespace client
