#include "shm/contexts.h"

#include <algorithm>

#include "shm/readable.h"
#include "shm/readable_memory.h"

extern "C" {
plu_shm_block *plu_shm_ctx = nullptr;
phu_shm_block *phu_shm_ctx = nullptr;
plu_context *plu_ctx = nullptr;
phu_context *phu_ctx = nullptr;
plu_function_table f_vector = {};
}

bool plu_ctx_derive() {
    readable_memory::look_from(plu_shm_ctx);
    plu_context *context = plu_shm_ctx->context;
    const auto address = reinterpret_cast<uint64_t>(context);
    if (context == nullptr || address % alignof(plu_context) != 0 ||
        !address_readable(address, sizeof *context)) {
        return false;
    }
    plu_ctx = context;
    phu_ctx = &context->phu;
    return true;
}

root_table tbdb_root_of(const tbm_handle_record *handle) {
    if (handle == nullptr) {
        return {};
    }
    if (!readable_memory::holds(handle)) {
        return {.fault = handle};
    }
    const tree_array *array = handle->tbdb_root;
    if (array == nullptr) {
        return {};
    }
    if (!readable_memory::holds(array)) {
        return {.fault = array};
    }
    tn *const *slots = array->ta_nodes;
    const int stored = array->ta_nnodes;
    const int count = std::max(stored, 0);
    if (slots == nullptr) {
        return {};
    }
    if (!readable_memory::holds_table(slots, std::max(count, 1))) {
        return {.fault = slots};
    }
    return {slots, count, stored, nullptr};
}

const tn *phu_shm_start() {
    const root_table root = tbdb_root_of(tbm_handle_current());
    return root.slots == nullptr ? nullptr : root.slots[0];
}
