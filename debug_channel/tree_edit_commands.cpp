#include "debug_channel/commands.h"
#include "debug_channel/contexts.h"
#include "debug_channel/readable.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"

void cmd_rootsn(uint64_t /*a1*/, uint64_t /*a2*/, uint64_t /*a3*/) {
    const tree_array *root = tbdb_root_of(tbm_handle_current());
    if (root == nullptr) {
        plu_debug_printf("NULL tbm_handle\n");
        return;
    }
    const int slots = root->ta_nnodes;
    plu_debug_printf("tbdb_root->ta_nnodes %d\n", slots);
    for (int i = 0; i < slots; ++i) {
        const tn *node = root->ta_nodes[i];
        if (node != nullptr && tn_is_search(node)) {
            plu_debug_printf("index %4d 0x%lx\n", i, reinterpret_cast<uint64_t>(node));
        }
    }
    plu_debug_printf("\n");
}

void cmd_setbmsf(uint64_t address, uint64_t bmsf, uint64_t /*a3*/) {
    if (!tn_address_valid(address)) {
        return;
    }
    if (address % alignof(tn) != 0) {    // no node begins there: another field would be hit
        plu_debug_printf("address 0x%lx is not readable\n", address);
        return;
    }
    if (!operator_address_readable(address, sizeof(tn))) {
        return;
    }
    if (!tn_is_search(reinterpret_cast<const tn *>(address))) {
        plu_debug_printf("skip setting bmsf for internal node\n");
        return;
    }
    if (!operator_address_writable(address, offsetof(tn, bmsf) + sizeof(tn::bmsf))) {
        return;
    }
    *reinterpret_cast<volatile uint8_t *>(address + offsetof(tn, bmsf)) =
        static_cast<uint8_t>(bmsf);
    plu_debug_printf("set bmsf %d to tn %p", int{static_cast<uint8_t>(bmsf)},
                     reinterpret_cast<void *>(address));
}
