// The rootsn and setbmsf commands.
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/unreadable.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tbm/start_node.h"

void cmd_rootsn(uint64_t /*a1*/, uint64_t /*a2*/, uint64_t /*a3*/) {
    const root_table root = tbdb_root_of(tbm_handle_current());
    if (root.slots == nullptr && root.fault == nullptr) {
        plu_debug_printf("NULL tbm_handle\n");
        return;
    }
    if (root.fault != nullptr) {
        report_unreadable(root.fault);
    }
    plu_debug_printf("tbdb_root->ta_nnodes %d\n", root.stored_count);
    for (int i = 0; root.slots != nullptr && i < root.count; ++i) {
        const tn *stored = current(root.slots[i]);
        const tn *node = readable_memory::holds(stored) ? stored : nullptr;
        if (node != stored) {
            report_unreadable(stored);
        } else if (node != nullptr && tn_is_search(node)) {
            plu_debug_printf("index %4d 0x%lx\n", i, reinterpret_cast<uint64_t>(node));
        }
    }
    plu_debug_printf("\n");
}

void cmd_setbmsf(uint64_t address, uint64_t bmsf, uint64_t /*a3*/) {
    if (typed_node(address) == nullptr) {
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
