#include "tbm/operator_node.h"

#include "debug_channel/readable.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"

namespace {

inline constexpr int leaf_array_max = 2047;    // the internal prefixes of the largest stride

uint64_t fault_at(uint64_t address, size_t size, size_t alignment) {
    return address % alignment == 0 && address_readable(address, size) ? 0 : address;
}

/// A null record is fine: nothing follows it.
template <typename Record>
uint64_t record_fault(const Record *record) {
    return record == nullptr
               ? 0
               : fault_at(reinterpret_cast<uint64_t>(record), sizeof(Record), alignof(Record));
}

uint64_t slots_fault(const void *slots, int count) {
    return slots == nullptr || count <= 0
               ? 0
               : fault_at(reinterpret_cast<uint64_t>(slots),
                          sizeof(void *) * static_cast<size_t>(count), alignof(void *));
}

}    // namespace

uint64_t tn_record_fault(uint64_t address) {
    return fault_at(address, sizeof(tn), alignof(tn));
}

uint64_t tn_arrays_fault(const tn *node) {
    if (tn_is_search(node)) {
        return children_fault(node);
    }
    return tn_is_end(node) || tn_is_intern(node) ? leaf_array_fault(node->in_lfarray) : 0;
}

uint64_t children_fault(const tn *node) {
    const tree_array *array = node->sn_charray;
    const uint64_t fault = record_fault(array);
    return fault != 0 || array == nullptr
               ? fault
               : slots_fault(array->ta_nodes, tree_array_slots(array, node));
}

// More leaves than a node can hold are no leaves: garbage would have the kernel asked for
// gigabytes.
uint64_t leaf_array_fault(const leaf_array *array) {
    const uint64_t fault = record_fault(array);
    if (fault != 0 || array == nullptr) {
        return fault;
    }
    return leaf_count(array) <= leaf_array_max ? slots_fault(array->la_leaves, leaf_count(array))
                                               : reinterpret_cast<uint64_t>(array);
}

uint64_t leaf_fault(const leaf *entry) {
    return record_fault(entry);
}

bool fault_reported(uint64_t fault) {
    if (fault != 0) {
        plu_debug_printf("address 0x%lx is not readable\n", fault);
    }
    return fault != 0;
}
