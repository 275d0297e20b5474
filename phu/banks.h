// Readers of the bank table that stay inside it whatever a record says.
#pragma once

#include <algorithm>
#include <cstdint>

#include "records/context.h"
#include "tbm/access.h"

inline constexpr uint32_t phu_bitmap_words_max = sizeof(phu_bank_record::node_bitmap) / 8;

/// Words of a bank's node bitmap, as its record says and as there are.
inline uint32_t phu_bitmap_words(const phu_bank_record &bank) {
    return std::min<uint32_t>(bank.bitmap_size, phu_bitmap_words_max);
}

/// True when the bank's bitmap has the node in use.
inline bool phu_node_in_use(const phu_bank_record &bank, uint32_t node_id) {
    return node_id < 64 * phu_bitmap_words_max && bit_test(bank.node_bitmap, node_id) != 0;
}

/// Bit of a bank in a bank bitmap.
inline bool phu_bank_bit(uint64_t bank_bitmap, uint32_t bank_id) {
    return bank_id < 64 && (bank_bitmap >> bank_id & 1) != 0;
}
