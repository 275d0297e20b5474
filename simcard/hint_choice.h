// Which children of a hinted node get hardware nodes of their own.
#pragma once

#include <cstdint>

#include "simcard/internal_cover.h"
#include "simcard/sound.h"

namespace simcard {

struct HintChoice {
    uint64_t hinted = 0;     // children to hint
    uint64_t needed = 0;     // those that the search needs hinted
    mask128 ext{};           // lengths below the other children
    uint32_t refused = 0;    // children that need it but must not be hinted
};

/// The choice for a node with masks in place; `covered` tells whether a leaf above covers it.
HintChoice choose_hinted(const Memory &memory, const SoundNode &at, bool covered);

/// Union of the lengths below the children of a bitmap.
mask128 lengths_below(const Memory &memory, const SoundNode &at, uint64_t children);

}    // namespace simcard
