// The showla command.
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/unreadable.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tbm/leaf_lines.h"
#include "tbm/leaf_owner.h"

void cmd_showla(uint64_t address, uint64_t force, uint64_t) {
    if (tbm_handle_or_report() == nullptr) {
        return;
    }
    const auto *array = reinterpret_cast<const leaf_array *>(address);
    if (address < reinterpret_cast<uint64_t>(phu_shm_start())) {
        plu_debug_printf("invalide leaf array addr:%p\n", static_cast<const void *>(array));
        return;
    }
    const tn *owner = la_owner_find(array);
    const bool listed = owner != nullptr || force != 0;
    const leaf_slots slots = leaf_array_slots(array);
    if (listed && (array == nullptr || slots.fault != nullptr)) {
        report_unreadable(array == nullptr ? array : slots.fault);
        return;
    }
    plu_debug_printf("la %p tn %p\n", static_cast<const void *>(array),
                     static_cast<const void *>(owner));
    if (!listed) {
        plu_debug_printf("cant find leaf array parent tn, skip detailed leaf info\n");
        return;
    }
    plu_debug_printf("la_nnodes %d (la %p)\n", current(array->la_nnodes),
                     static_cast<const void *>(array));
    leaf_array_print(array);
}
