#include "tbm/leaf_lines.h"

#include "reply/reply.h"
#include "reply/text.h"
#include "tbm/access.h"

void tbm_leaf_print(leaf *const *slot) {
    const leaf *entry = current(*slot);
    if (entry != nullptr && !readable_memory::holds(entry)) {
        report_unreadable(entry);
        return;
    }
    plu_debug_printf("  %s\n", entry == nullptr ? "(null)" : leaf_text(entry));
}

void leaf_array_print(const leaf_array *array) {
    // Every line may wait for the client while the library changes the array.
    for (int i = 0;; ++i) {
        const leaf_slots slots = leaf_array_slots(array);
        if (slots.fault != nullptr) {
            report_unreadable(slots.fault);
        }
        if (slots.leaves == nullptr || i >= slots.count) {
            return;
        }
        tbm_leaf_print(slots.leaves + i);
    }
}
