// The command table of the debug channel.
#pragma once

#include <cstdint>

#include "platform/export.h"

using plu_debug_handler = void (*)(uint64_t a1, uint64_t a2, uint64_t a3);

struct plu_debug_command {
    const char *name;
    plu_debug_handler handler;
    const char *help;
};

inline constexpr int plu_debug_commands = 36;

extern "C" PLU_EXPORT const plu_debug_command msg_handler_list[plu_debug_commands];
