// What the tests of the checkers share.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "checks/commands.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

using check_command = void (*)(uint64_t a1, uint64_t a2, uint64_t a3);

inline std::string run(check_command command, uint64_t a1 = 0, uint64_t a2 = 0, uint64_t a3 = 0) {
    return captured([&] { command(a1, a2, a3); });
}

/// A mask of prefix lengths.
inline mask128 lengths(std::initializer_list<uint32_t> values) {
    mask128 mask{};
    for (const uint32_t value : values) {
        mask_set_from_left(mask, value);
    }
    return mask;
}
