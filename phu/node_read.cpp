#include "phu/node_read.h"

#include <cstring>

#include "records/hw_node.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "shm/contexts.h"

namespace {

constexpr size_t node_bytes = 32;    // room that a node takes in the node memory
constexpr int npu_map_bits = 32;

/// First active NPU, -1 when there is none.
int first_active_npu() {
    const uint32_t active = plu_ctx->active_npu_map;
    for (int npu = 0; npu < plu_ctx->npu_count && npu < npu_map_bits; ++npu) {
        if ((active >> npu & 1) != 0) {
            return npu;
        }
    }
    return -1;
}

}    // namespace

uint64_t phu_bank_node_addr(uint32_t bank_id, uint32_t node_id) {
    if (bank_id >= uint32_t{phu_banks}) {
        return phu_no_address_bank;
    }
    if (node_id >= static_cast<uint32_t>(phu_bank_nodes(static_cast<int>(bank_id)))) {
        return phu_no_address_node;
    }
    const uint64_t high = 0x00f49680 + 0x100 * uint64_t{bank_id};
    const uint64_t low = bank_id < uint32_t{phu_small_banks}
                             ? 0x05c00000 + 0x10000 * uint64_t{bank_id}
                             : 0x05d40000 + 0x20000 * uint64_t{bank_id - phu_small_banks};
    return (high << 32 | low) + node_bytes * node_id;
}

int phu_csr_read_node(uint32_t bank_id, uint32_t node_id, phu_node &out) {
    const uint64_t address = phu_bank_node_addr(bank_id, node_id);
    if (address == phu_no_address_bank || address == phu_no_address_node) {
        plu_debug_printf("invalid bank_id %d node_id %d\n", bank_id, node_id);
        return 1;
    }
    const int npu = first_active_npu();
    if (npu < 0) {
        plu_debug_printf("no active npu found\n");
        return 1;
    }
    const ot_csr_read_function read = loaded_function(f_vector.ot_csr_read, "ot_csr_read");
    if (read == nullptr) {
        return 1;
    }
    uint8_t unit[node_bytes] = {};
    ++plu_debug_pauses;
    if (const int rc = read(npu, address, 1, 1, unit); rc != 0) {
        plu_debug_printf("failed to read hwindex from npu %d, bank_id %d node_id %d rc: 0x%x\n",
                         npu, bank_id, node_id, static_cast<uint32_t>(rc));
        return 1;
    }
    memcpy(&out, unit, sizeof out);
    return 0;
}

int phu_csr_read_hw_index(uint32_t hw_index, phu_node &out) {
    return phu_csr_read_node(hw_index_bank(hw_index), hw_index_node(hw_index), out);
}
