// Records of the PLU and PHU contexts, shared with the PLU/PHU library.
//
// Little-endian throughout. The shared blocks are ready when their first word is the ready mark;
// everything below is read in place and, but for the unexpected-state counter, never written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

struct tbm_handle_record;

inline constexpr uint32_t shm_ready_mark = 0xafeaafeaU;

inline constexpr int phu_banks = 42;
inline constexpr int phu_small_banks = 20;    // banks 0 to 19
inline constexpr int phu_small_bank_nodes = 2048;
inline constexpr int phu_large_bank_nodes = 4096;
inline constexpr int phu_reserved_bank = 40;
inline constexpr int phu_root_bank = 41;
inline constexpr int phu_stride_levels = 24;
inline constexpr uint8_t phu_no_level = 255;    // a bank without a stride level
inline constexpr int phu_pools = 4;
inline constexpr int phu_pools_with_record = 3;

/// Nodes of a bank by the hardware's rule.
constexpr int phu_bank_nodes(int bank_id) {
    return bank_id < phu_small_banks ? phu_small_bank_nodes : phu_large_bank_nodes;
}

/// One stride level's share of the banks.
struct phu_stride_record {
    uint8_t level;    // 0: the entry's index when in use
    uint8_t reserved1;
    uint16_t bank_used;    // 2: number of banks assigned
    uint8_t reserved4[4];
    uint64_t bank_bitmap;    // 8
};
static_assert(sizeof(phu_stride_record) == 16);
static_assert(offsetof(phu_stride_record, bank_used) == 2);
static_assert(offsetof(phu_stride_record, bank_bitmap) == 8);

/// One bank of node memory.
struct phu_bank_record {
    uint8_t bank_id;             // 0: the record's index
    uint8_t stride_level;        // 1: phu_no_level when unassigned
    uint16_t bitmap_size;        // 2: 64-bit words
    uint16_t bank_size;          // 4: nodes
    uint16_t node_used;          // 6: nodes in use
    uint64_t node_bitmap[64];    // 8: bit n of word n div 64: node n in use
};
static_assert(sizeof(phu_bank_record) == 520);
static_assert(offsetof(phu_bank_record, stride_level) == 1);
static_assert(offsetof(phu_bank_record, bitmap_size) == 2);
static_assert(offsetof(phu_bank_record, bank_size) == 4);
static_assert(offsetof(phu_bank_record, node_used) == 6);
static_assert(offsetof(phu_bank_record, node_bitmap) == 8);

/// Head of a node pool.
struct phu_pool_record {
    uint8_t reserved0[152];
    int32_t size;    // 152
    uint8_t reserved156[4];
};
static_assert(sizeof(phu_pool_record) == 160);
static_assert(offsetof(phu_pool_record, size) == 152);

struct phu_context {
    uint8_t reserved0[8];
    tbm_handle_record *tbm_handle;    // 8: null without a tree
    uint8_t reserved16[1984];
    phu_pool_record *node_pool[phu_pools_with_record];    // 2000
    uint8_t cfm_mask_count_limit;                         // 2024
    uint8_t reserved2025[7];
    int32_t stride_value[phu_stride_levels];    // 2032: shown as "phu->str.a"
    uint8_t reserved2128[688248];
    int64_t shm_alloc;                // 690376
    int64_t alloc_byte;               // 690384
    int64_t shm_free;                 // 690392
    int64_t pool_alloc[phu_pools];    // 690400
    int64_t pool_free[phu_pools];     // 690432
    int64_t pool_bytes[phu_pools];    // 690464
    uint32_t unexpected_state;        // 690496: advanced by the tree statistics
    uint8_t reserved690500[128];
    int32_t max_bank_nodes_usage;    // 690628
    uint8_t max_cfm_mask_count;      // 690632
    uint8_t reserved690633[407];
    phu_stride_record stride[phu_stride_levels];    // 691040
    phu_bank_record bank[phu_banks];                // 691424
    int32_t bank_node_used;                         // 713264
    uint8_t reserved713268[4];
    uint64_t bank_bitmap;    // 713272: bit b: bank b in use
};
static_assert(std::is_trivially_copyable_v<phu_context>);
static_assert(offsetof(phu_context, tbm_handle) == 8);
static_assert(offsetof(phu_context, node_pool) == 2000);
static_assert(offsetof(phu_context, cfm_mask_count_limit) == 2024);
static_assert(offsetof(phu_context, stride_value) == 2032);
static_assert(offsetof(phu_context, shm_alloc) == 690376);
static_assert(offsetof(phu_context, alloc_byte) == 690384);
static_assert(offsetof(phu_context, shm_free) == 690392);
static_assert(offsetof(phu_context, pool_alloc) == 690400);
static_assert(offsetof(phu_context, pool_free) == 690432);
static_assert(offsetof(phu_context, pool_bytes) == 690464);
static_assert(offsetof(phu_context, unexpected_state) == 690496);
static_assert(offsetof(phu_context, max_bank_nodes_usage) == 690628);
static_assert(offsetof(phu_context, max_cfm_mask_count) == 690632);
static_assert(offsetof(phu_context, stride) == 691040);
static_assert(offsetof(phu_context, bank) == 691424);
static_assert(offsetof(phu_context, bank_node_used) == 713264);
static_assert(offsetof(phu_context, bank_bitmap) == 713272);

inline constexpr size_t phu_context_at =
    2088;    // byte offset of the PHU context in the PLU context

struct plu_context {
    uint8_t profile;    // 0
    uint8_t reserved1[phu_context_at - 1];
    phu_context phu;    // 2088
    uint8_t reserved715368[69255];
    uint8_t npu_count;          // 784623
    uint32_t active_npu_map;    // 784624: bit i: NPU i is active
    uint8_t reserved784628[4];
};
static_assert(offsetof(plu_context, profile) == 0);
static_assert(offsetof(plu_context, phu) == phu_context_at);
static_assert(offsetof(plu_context, npu_count) == 784623);
static_assert(offsetof(plu_context, active_npu_map) == 784624);

/// Shared-memory block of the PLU library.
struct plu_shm_block {
    uint32_t ready;    // 0: shm_ready_mark
    int32_t shm_id;    // 4
    uint32_t size;     // 8
    uint8_t reserved12[4];
    int32_t init_done;    // 16
    uint8_t reserved20[4];
    plu_context *context;    // 24
};
static_assert(sizeof(plu_shm_block) == 32);
static_assert(offsetof(plu_shm_block, shm_id) == 4);
static_assert(offsetof(plu_shm_block, size) == 8);
static_assert(offsetof(plu_shm_block, init_done) == 16);
static_assert(offsetof(plu_shm_block, context) == 24);

/// Shared-memory block of the PHU library.
struct phu_shm_block {
    uint32_t ready;    // 0: shm_ready_mark
    int32_t shm_id;    // 4
    uint32_t size;     // 8
    uint8_t reserved12[20];
};
static_assert(sizeof(phu_shm_block) == 32);
static_assert(offsetof(phu_shm_block, shm_id) == 4);
static_assert(offsetof(phu_shm_block, size) == 8);
