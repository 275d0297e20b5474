// Sets of prefix lengths as the records keep them (position k from the left stands for length k).
#pragma once

#include <cstdint>

#include "records/tree.h"

namespace simcard {

inline void add_length(mask128 &mask, uint32_t length) {
    if (length >= 1 && length <= 128) {
        (length <= 64 ? mask.high : mask.low) |= uint64_t{1} << ((128 - length) % 64);
    }
}
inline uint32_t lengths(const mask128 &mask) {
    return static_cast<uint32_t>(__builtin_popcountll(mask.low) + __builtin_popcountll(mask.high));
}
inline mask128 without(const mask128 &mask, const mask128 &part) {
    return {mask.low & ~part.low, mask.high & ~part.high};
}

}    // namespace simcard
