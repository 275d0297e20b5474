// Commands on the hardware nodes, the tree nodes with their hardware, the banks and the contexts.
// Arguments are the request's a1, a2,
// a3.
#pragma once

#include <cstdint>

#include "platform/export.h"

/// Set by v4hw and v6hw, never cleared; read by other components. Debug thread.
extern "C" PLU_EXPORT int32_t phu_debug_det;

void cmd_dump(uint64_t a1, uint64_t a2, uint64_t a3);
void cmd_walk(uint64_t leaf_mode, uint64_t node_mode, uint64_t a3);
void cmd_banksum(uint64_t a1, uint64_t a2, uint64_t a3);
void cmd_bankbitmap(uint64_t bank_id, uint64_t item, uint64_t allow_item_0);
void cmd_ckbank(uint64_t detail, uint64_t a2, uint64_t a3);
void cmd_hwidxr(uint64_t hw_index, uint64_t option, uint64_t a3);
void cmd_hwidxwalk(uint64_t mode, uint64_t start, uint64_t a3);
void cmd_hwdis(uint64_t a1, uint64_t a2, uint64_t a3);
void cmd_tn(uint64_t node, uint64_t options, uint64_t mode);
void cmd_tnwalk(uint64_t node, uint64_t mode, uint64_t a3);
void cmd_v4hw(uint64_t address, uint64_t length, uint64_t vrf);
void cmd_v6hw(uint64_t high, uint64_t low, uint64_t vrf_and_length);
