#include "tbm/readable_records.h"

#include "debug_channel/readable.h"
#include "tbm/access.h"

namespace {

inline constexpr int child_slots_max = 1025;    // of the largest stride, with an internal node
inline constexpr int leaf_slots_max = 2047;     // the internal prefixes of the largest stride

}    // namespace

readable_records::known_runs readable_records::known_{};

readable_records::readable_records() {
    const uint64_t base = reinterpret_cast<uint64_t>(plu_shm_ctx) / run_bytes * run_bytes;
    if (base != known_.base) {
        known_ = {};
        known_.base = base;
    }
}

bool readable_records::node(const tn *record) {
    if (!holds(record)) {
        return false;
    }
    if (tn_is_search(record)) {
        return child_array(record);
    }
    return (!tn_is_end(record) && !tn_is_intern(record)) || leaves(record->in_lfarray);
}

bool readable_records::child_array(const tn *record) {
    const tree_array *array = current(record->sn_charray);
    if (array == nullptr) {
        return true;
    }
    if (!holds(array)) {
        return false;
    }
    const array_slots held = tree_array_slots(array, record);
    return held.count <= child_slots_max ? slots(held.nodes, held.count) : refuse(array);
}

bool readable_records::leaves(const leaf_array *array) {
    if (array == nullptr) {
        return true;
    }
    if (!holds(array)) {
        return false;
    }
    const leaf_slots held = leaf_array_slots(array);
    return held.count <= leaf_slots_max ? slots(held.leaves, held.count) : refuse(array);
}

bool readable_records::slots(const void *first, int count) {
    return first == nullptr || count <= 0 ||
           range(first, sizeof(void *) * static_cast<size_t>(count), alignof(void *));
}

bool readable_records::ask(const void *first, size_t size, size_t alignment) {
    const auto address = reinterpret_cast<uint64_t>(first);
    const uint64_t last = address + (size - 1);
    if (first == nullptr || address % alignment != 0 || last < address) {
        return refuse(first);
    }
    const bool held =
        ++questions_ > single_questions && run_readable(address) && run_readable(last);
    return held || address_readable(address, size) || refuse(first);
}

/// Of the whole run of shared memory around an address; remembers a yes.
bool readable_records::run_readable(uint64_t address) {
    const uint64_t offset = address - known_.base;
    if (offset >= phu_shm_span) {
        return false;
    }
    const uint64_t run = offset / run_bytes;
    const uint64_t bit = uint64_t{1} << run % 64;
    if ((known_.bits[run / 64] & bit) == 0 &&
        address_readable(known_.base + run * run_bytes, run_bytes)) {
        known_.bits[run / 64] |= bit;
    }
    return (known_.bits[run / 64] & bit) != 0;
}

bool readable_records::refuse(const void *record) {
    fault_ = reinterpret_cast<uint64_t>(record);
    return false;
}
