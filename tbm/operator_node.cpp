#include "tbm/operator_node.h"

#include <algorithm>

#include "debug_channel/readable.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"

namespace {

/// True when `count` records of a kind can be read at an address.
template <typename Record>
bool records_readable(uint64_t address, int count = 1) {
    if (address % alignof(Record) != 0) {
        plu_debug_printf("address 0x%lx is not readable\n", address);
        return false;
    }
    return operator_address_readable(address,
                                     sizeof(Record) * static_cast<size_t>(std::max(count, 0)));
}

template <typename Record>
bool records_readable(Record *records, int count = 1) {
    return records == nullptr ||
           records_readable<Record>(reinterpret_cast<uint64_t>(records), count);
}

bool leaf_slots_readable(const leaf_array *array) {
    return array == nullptr ||
           (records_readable(array) && records_readable(array->la_leaves, leaf_count(array)));
}

bool child_slots_readable(const tn *search_node) {
    const tree_array *array = search_node->sn_charray;
    return array == nullptr ||
           (records_readable(array) &&
            records_readable(array->ta_nodes,
                             array->ta_nnodes + static_cast<int>(tn_inode_bit(search_node))));
}

}    // namespace

tn *operator_node(uint64_t address) {
    if (!records_readable<tn>(address)) {
        return nullptr;
    }
    auto *node = reinterpret_cast<tn *>(address);
    const bool readable = tn_is_search(node) ? child_slots_readable(node)
                          : tn_is_end(node) || tn_is_intern(node)
                              ? leaf_slots_readable(node->in_lfarray)
                              : true;
    return readable ? node : nullptr;
}

leaf_array *operator_leaf_array(uint64_t address) {
    if (!records_readable<leaf_array>(address)) {
        return nullptr;
    }
    auto *array = reinterpret_cast<leaf_array *>(address);
    return leaf_slots_readable(array) ? array : nullptr;
}

bool operator_leaf_readable(const leaf *entry) {
    return records_readable(entry);
}
