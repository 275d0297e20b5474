#include "tbm/readable_records.h"

#include "debug_channel/readable.h"
#include "tbm/access.h"

namespace {

inline constexpr uint64_t page_size = 4096;     // the smallest page
inline constexpr int child_slots_max = 1025;    // of the largest stride, with an internal node
inline constexpr int leaf_slots_max = 2047;     // the internal prefixes of the largest stride

}    // namespace

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
    const int count = tree_array_slots(array, record);
    return count <= child_slots_max ? slots(array->ta_nodes, count) : refuse(array);
}

bool readable_records::leaves(const leaf_array *array) {
    if (array == nullptr) {
        return true;
    }
    if (!holds(array)) {
        return false;
    }
    const int count = leaf_count(array);
    return count <= leaf_slots_max ? slots(array->la_leaves, count) : refuse(array);
}

bool readable_records::slots(const void *first, int count) {
    return first == nullptr || count <= 0 ||
           range(first, sizeof(void *) * static_cast<size_t>(count), alignof(void *));
}

bool readable_records::range(const void *first, size_t size, size_t alignment) {
    const auto address = reinterpret_cast<uint64_t>(first);
    const uint64_t last = address + (size - 1);
    if (first == nullptr || address % alignment != 0 || last < address) {
        return refuse(first);
    }
    for (uint64_t number = address / page_size; number <= last / page_size; ++number) {
        if (!page(number)) {
            return refuse(first);
        }
    }
    return true;
}

bool readable_records::page(uint64_t number) {
    uint64_t &known = pages_[number % remembered_pages];
    if (known == number) {
        return number != 0;
    }
    if (!address_readable(number * page_size, 1)) {
        return false;
    }
    known = number;
    return true;
}

bool readable_records::refuse(const void *record) {
    fault_ = reinterpret_cast<uint64_t>(record);
    return false;
}
