// What an internal node's leaves cover among the 64 children of its node.
#pragma once

#include <array>
#include <cstdint>

#include "simcard/tree.h"

namespace simcard {

struct InternalCover {
    uint64_t covered = 0;                  // bit g: some leaf covers child g
    std::array<uint8_t, 64> position{};    // longest covering leaf of child g, where covered

    explicit InternalCover(uint64_t bitmap) {
        for (uint64_t left = bitmap; left != 0; left &= left - 1) {
            const auto at = static_cast<uint32_t>(__builtin_ctzll(left));
            const uint32_t length = length_of(at);
            const uint32_t span = 1U << (tbm_stride_bits - length);
            const uint32_t first = (at + 1 - (1U << length)) * span;
            for (uint32_t g = first; g < first + span; ++g) {
                position[g] = static_cast<uint8_t>(at);
            }
            covered |= (span == 64 ? ~uint64_t{0} : (uint64_t{1} << span) - 1) << first;
        }
    }

    /// Length (0 to 5) of the internal prefix at a position.
    static uint32_t length_of(uint32_t position) {
        return 31 - static_cast<uint32_t>(__builtin_clz(position + 1));
    }
};

}    // namespace simcard
