// The dump command: the shared contexts of the PLU and PHU libraries.
#include <cstring>

#include "phu/commands.h"
#include "phu/registers.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"
#include "shm/readable_memory.h"

namespace {

constexpr int npus_max = 255;
constexpr int npu_map_bits = 32;
constexpr int hash_table_size[] = {2097152, 2097152, 524288};

void dump_shared_blocks() {
    plu_debug_printf("plu_shm_ctx %p\n", static_cast<const void *>(plu_shm_ctx));
    plu_debug_printf("phu_shm_ctx %p\n", static_cast<const void *>(phu_shm_ctx));
    plu_debug_printf("plu shm init done: %d\n", plu_shm_ctx->init_done);
    plu_debug_printf("plu shm id %d size 0x%x\n", plu_shm_ctx->shm_id, plu_shm_ctx->size);
    plu_debug_printf("phu shm id %d, size: 0x%x\n", phu_shm_ctx->shm_id, phu_shm_ctx->size);
}

bool dump_profiles() {
    plu_debug_printf("PLU profile: %d, T1,T2,T3 size %d, %d, %d\n", plu_ctx->profile,
                     hash_table_size[0], hash_table_size[1], hash_table_size[2]);
    uint32_t profile = 0;
    if (plu_npu_profile_read(&profile) != 0) {
        plu_debug_printf("failed to read profile\n");
        return false;
    }
    plu_debug_printf("NPU profile %d\n", profile);
    return true;
}

void dump_npus() {
    const int count = plu_ctx->npu_count;
    const uint32_t active = plu_ctx->active_npu_map;
    char map[npus_max + 1] = "";
    for (int npu = 0; npu < count; ++npu) {
        map[npu] = npu < npu_map_bits && (active >> npu & 1) != 0 ? '+' : '_';
    }
    plu_debug_printf("Max NPU:%d  active npu map: [%s]\n", count, map);
}

void dump_bank_bitmap() {
    plu_debug_printf("\n==== phu global ctx ====\n");
    plu_debug_printf("bank node used: %d\n", phu_ctx->bank_node_used);
    plu_debug_printf("phu bank bitmap: ");
    const uint64_t bitmap = phu_ctx->bank_bitmap;
    for (int bit = 63; bit >= 0; --bit) {
        plu_debug_printf("%d", static_cast<int>(bitmap >> bit & 1));
        if (bit % 8 == 0 && bit != 0) {
            plu_debug_printf(" ");
        }
    }
    plu_debug_printf("\n");
}

void dump_handle(const tbm_handle_record *handle) {
    const int key_length = handle->key_length;
    const int max_level = (key_length / 6 + 3) & ~3;
    plu_debug_printf("tmbd key len %d, leaf size %d, 4B aligned max level %d plat addr size:%d  ",
                     key_length, handle->leaf_size, max_level, handle->address_size);
    plu_debug_printf("defined max level %d\n", phu_stride_levels);
    plu_debug_printf("tbdb_root %p\n", static_cast<const void *>(handle->tbdb_root));
    plu_debug_printf("size of tn: %ld\n", static_cast<long>(sizeof(tn)));
}

int stride_levels_in_use() {
    int levels = phu_stride_levels;
    while (levels > 1 && phu_ctx->stride[levels - 1].bank_used == 0 &&
           phu_ctx->stride[levels - 1].bank_bitmap == 0) {
        --levels;
    }
    return levels;
}

void dump_stride_levels(const uint8_t *stride_map) {
    plu_debug_printf("\n=== stride level bank bitmap ===\n");
    plu_debug_printf("level, phu->str.a tbm strd_map stride.level bank_used bank_bitmap\n");
    const int levels = stride_levels_in_use();
    if (stride_map != nullptr && !readable_memory::holds_slots(stride_map, levels)) {
        report_unreadable(stride_map);
        stride_map = nullptr;
    }
    for (int i = 0; i < levels; ++i) {
        const phu_stride_record &stride = phu_ctx->stride[i];
        plu_debug_printf("%3d    %9d       %3d      %5d   %9d     0x%012lx\n", i,
                         phu_ctx->stride_value[i], stride_map == nullptr ? 0 : stride_map[i],
                         stride.level, stride.bank_used, stride.bank_bitmap);
    }
}

int pool_size(int pool) {
    const phu_pool_record *record =
        pool < phu_pools_with_record ? phu_ctx->node_pool[pool] : nullptr;
    if (record != nullptr && !readable_memory::holds(record)) {
        report_unreadable(record);
        record = nullptr;
    }
    return record == nullptr ? 0 : record->size;
}

void dump_allocation() {
    plu_debug_printf("\n=== PHU stats ===\n");
    plu_debug_printf("  shm_alloc: %ld\n", phu_ctx->shm_alloc);
    plu_debug_printf(" alloc byte: %ld\n", phu_ctx->alloc_byte);
    plu_debug_printf("  shm_free : %ld\n", phu_ctx->shm_free);
    for (int i = 0; i < phu_pools; ++i) {
        plu_debug_printf("%d pool size:%4d  alloc:%8ld  free:%8ld  bytes:%ld\n", i, pool_size(i),
                         phu_ctx->pool_alloc[i], phu_ctx->pool_free[i], phu_ctx->pool_bytes[i]);
    }
    plu_debug_printf("phu max bank nodes usage: %d\n", phu_ctx->max_bank_nodes_usage);
    plu_debug_printf("phu max cfm mask count: %d\n", phu_ctx->max_cfm_mask_count);
}

}    // namespace

void cmd_dump(uint64_t, uint64_t, uint64_t) {
    dump_shared_blocks();
    if (!dump_profiles()) {
        return;
    }
    dump_npus();
    dump_bank_bitmap();
    const tbm_handle_record *handle = tbm_handle_or_report();
    if (handle != nullptr && !readable_memory::holds(handle)) {
        report_unreadable(handle);
        handle = nullptr;
    }
    if (handle != nullptr) {
        dump_handle(handle);
    }
    dump_stride_levels(handle == nullptr ? nullptr : handle->stride_map);
    dump_allocation();
}
