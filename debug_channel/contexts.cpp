#include "debug_channel/contexts.h"

#include "debug_channel/reply.h"

extern "C" {
plu_shm_block *plu_shm_ctx = nullptr;
phu_shm_block *phu_shm_ctx = nullptr;
plu_context *plu_ctx = nullptr;
phu_context *phu_ctx = nullptr;
plu_function_table f_vector = {};
}

tbm_handle_record *tbm_handle_derive() {
    // The last contexts stay when the block has just lost its pointer: a command goes on reading
    // them.
    plu_context *context = plu_shm_ctx->context;
    if (context == nullptr) {
        return nullptr;
    }
    plu_ctx = context;
    phu_ctx = &context->phu;
    return phu_ctx->tbm_handle;
}

tbm_handle_record *tbm_handle_or_report() {
    tbm_handle_record *handle = tbm_handle_current();
    if (handle == nullptr) {
        plu_debug_printf("NULL tbm_handle\n");
    }
    return handle;
}

tree_array *tbdb_root_of(const tbm_handle_record *handle) {
    tree_array *root = handle == nullptr ? nullptr : handle->tbdb_root;
    return root == nullptr || root->ta_nodes == nullptr ? nullptr : root;
}

const tn *phu_shm_start() {
    const tree_array *root = tbdb_root_of(tbm_handle_current());
    return root == nullptr || root->ta_nnodes <= 0 ? nullptr : root->ta_nodes[0];
}

bool tn_address_valid(uint64_t address) {
    if (address >= reinterpret_cast<uint64_t>(plu_shm_ctx)) {
        return true;
    }
    plu_debug_printf("invalid tn addr: 0x%lx\n", address);
    return false;
}

void report_not_loaded(const char *name) {
    plu_debug_printf("%s not loaded\n", name);
}
