// How full the card is: the 42 banks of node memory and the stride levels, as the process describes
// them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "client/replies/reply_lines.h"

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

class card_usage {
public:
    card_usage();

    /// A line of the replies to banksum and to dump.
    void take_summary(const reply_line &line);
    void take_context(const reply_line &line);
    /// What is unexpected in the replies, once they are read; empty when all is well.
    [[nodiscard]] std::string unexpected() const;

    [[nodiscard]] const bank_map &banks() const { return banks_; }
    /// Stride level and its phu->str.a.
    [[nodiscard]] const auto &levels() const { return levels_; }

private:
    bool take_bank(const reply_record &record);
    bool take_bitmap(std::string_view digits);

    bank_map banks_;
    std::vector<std::pair<int64_t, int64_t>> levels_;
    int64_t last_bank_ = -1;
    bool summed_ = false;
    bool marked_ = false;
    std::string unexpected_;
};

}    // namespace client
