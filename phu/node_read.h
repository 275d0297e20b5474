// Direct reads of hardware nodes from the first active NPU.
#pragma once

#include <cstdint>

#include "records/hw_node.h"

inline constexpr uint64_t phu_no_address_node = 1;             // node id beyond its bank
inline constexpr uint64_t phu_no_address_bank = 0xffffffff;    // bank id above 41

/// 64-bit chip address of a node, or one of the two values above.
uint64_t phu_bank_node_addr(uint32_t bank_id, uint32_t node_id);

/// Reads a node image. Returns 0 with the image in `out`, 1 after a failure whose line has been
/// sent.
int phu_csr_read_node(uint32_t bank_id, uint32_t node_id, phu_node &out);

/// The same with bank and node taken from a hardware index.
int phu_csr_read_hw_index(uint32_t hw_index, phu_node &out);
