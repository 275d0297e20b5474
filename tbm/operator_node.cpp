#include "tbm/operator_node.h"

#include "debug_channel/readable.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"

namespace {

inline constexpr int leaf_array_max = 2047;    // the internal prefixes of the largest stride

bool refuse(uint64_t address) {
    plu_debug_printf("address 0x%lx is not readable\n", address);
    return false;
}

bool aligned_readable(uint64_t address, size_t size, size_t alignment) {
    if (address % alignment != 0) {
        return refuse(address);
    }
    return operator_address_readable(address, size);
}

/// A null record is fine: nothing follows it.
template <typename Record>
bool record_readable(const Record *record) {
    return record == nullptr ||
           aligned_readable(reinterpret_cast<uint64_t>(record), sizeof(Record), alignof(Record));
}

bool slots_readable(const void *slots, int count) {
    return slots == nullptr || count <= 0 ||
           aligned_readable(reinterpret_cast<uint64_t>(slots),
                            sizeof(void *) * static_cast<size_t>(count), alignof(void *));
}

/// More leaves than a node can hold are no leaves: garbage would have the kernel asked for
/// gigabytes.
bool leaf_slots_readable(const leaf_array *array) {
    if (array == nullptr) {
        return true;
    }
    if (!record_readable(array)) {
        return false;
    }
    return leaf_count(array) <= leaf_array_max ? slots_readable(array->la_leaves, leaf_count(array))
                                               : refuse(reinterpret_cast<uint64_t>(array));
}

}    // namespace

tn *operator_node(uint64_t address) {
    if (!aligned_readable(address, sizeof(tn), alignof(tn))) {
        return nullptr;
    }
    auto *node = reinterpret_cast<tn *>(address);
    const bool readable = tn_is_search(node) ? operator_children_readable(node)
                          : tn_is_end(node) || tn_is_intern(node)
                              ? leaf_slots_readable(node->in_lfarray)
                              : true;
    return readable ? node : nullptr;
}

leaf_array *operator_leaf_array(uint64_t address) {
    if (!aligned_readable(address, sizeof(leaf_array), alignof(leaf_array))) {
        return nullptr;
    }
    auto *array = reinterpret_cast<leaf_array *>(address);
    return leaf_slots_readable(array) ? array : nullptr;
}

bool operator_leaf_readable(const leaf *entry) {
    return record_readable(entry);
}

bool operator_children_readable(const tn *node) {
    const tree_array *array = node->sn_charray;
    return array == nullptr || (record_readable(array) &&
                                slots_readable(array->ta_nodes, tree_array_slots(array, node)));
}
