#include "reply/unreadable.h"

#include <algorithm>

#include "reply/reply.h"
#include "shm/readable_memory.h"

namespace {

const void *named[unreadable_named_max];
int named_count = 0;
const void *last_counted = nullptr;    // an address is often needed twice in a row
uint32_t further = 0;

}    // namespace

void unreadable_begin() {
    readable_memory::forget_pages();
    named_count = 0;
    further = 0;
}

void report_unreadable(const void *record) {
    const void **end = named + named_count;
    if (std::find(named, end, record) != end) {
        return;
    }
    if (named_count == unreadable_named_max) {
        further += further == 0 || record != last_counted ? 1 : 0;
        last_counted = record;
        return;
    }
    named[named_count++] = record;
    plu_debug_printf("address 0x%lx is not readable\n", reinterpret_cast<uint64_t>(record));
}

void unreadable_end() {
    if (further != 0) {
        plu_debug_printf("%d further addresses are not readable\n", further);
    }
    unreadable_begin();
}
