#include "tbm/access.h"

#include <algorithm>
#include <iterator>

extern "C" {
const char *const tree_node_type[tree_node_types] = {"SEARCH", "INTERN", "LEAF", "END", "INVALID"};
const char *const hint_state_str[hint_states] = {"INIT", "SEARCH", "SEARCH_END", "END", "INVALID"};
}

const char *hint_state_label(uint8_t code) {
    static constexpr const char *labels[] = {"Init", "Search", "Search End", "End", "Invalid"};
    static_assert(std::size(labels) == hint_states);
    return labels[std::min<size_t>(code, hint_states - 1)];
}

uint32_t bit_count_below(const void *bits, uint32_t n) {
    static constexpr uint8_t nibble_ones[16] = {0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4};
    const auto *bytes = static_cast<const uint8_t *>(bits);
    uint32_t count = 0;
    for (uint32_t i = 0; i < n / 8; ++i) {
        count += nibble_ones[bytes[i] & 0xf] + nibble_ones[bytes[i] >> 4];
    }
    for (uint32_t position = n - n % 8; position < n; ++position) {
        count += bit_test(bits, position);
    }
    return count;
}

tn *const *tbm_root_slot(const tbm_handle_record *handle, const uint8_t *key) {
    const root_table root = tbdb_root_of(handle);
    const auto slot = static_cast<int>(key_bits_extract(key, 0, tbm_root_bits));
    return slot < root.count ? root.slots + slot : nullptr;
}

namespace {

constexpr int slot_attempts =
    8;    // a library that changes one node all the time is not waited for

/// One look at a slot; false when the node or its array changed meanwhile.
bool look_at_slot(const tn *node, uint32_t chunk, uint32_t stride, tn_slot &slot) {
    slot = {};
    const uint64_t groups = current(node->sn_ebmap);
    const child_slots children = tn_child_slots(node);
    if (children.array == nullptr || children.fault == children.array) {
        return true;
    }
    tn **nodes = current(children.array->ta_nodes);
    const uint32_t group_shift = stride - 6;
    const uint32_t before = bitmap_count_below(groups, chunk >> group_shift) << group_shift;
    const auto at =
        static_cast<int>(tn_inode_bit(node) + before + (chunk & ((1U << group_shift) - 1)));
    if (nodes == nullptr || !readable_memory::holds_slots(nodes, at + 1)) {
        return true;
    }
    slot = {nodes + at, current(nodes[at]), at < children.end};
    return current(node->sn_ebmap) == groups && current(children.array->ta_nodes) == nodes &&
           tn_child_slots(node).end == children.end;
}

}    // namespace

tn_slot tn_child_slot(const tn *search_node, uint32_t chunk, uint32_t stride) {
    tn_slot slot{};
    if (stride < 6 || stride > 10) {
        return slot;
    }
    for (int i = 0; i < slot_attempts && !look_at_slot(search_node, chunk, stride, slot); ++i) {
    }
    return slot;
}

tn *tn_inode(const tn *node) {
    if (tn_is_end(node)) {
        return const_cast<tn *>(node);
    }
    return tn_is_search(node) ? slot_0_inode(node, tn_child_slots(node)) : nullptr;
}

leaf **leaf_array_slot(const leaf_array *array, uint32_t offset) {
    leaf **leaves = readable_memory::holds(array) ? current(array->la_leaves) : nullptr;
    return leaves != nullptr && readable_memory::holds(leaves + offset) ? leaves + offset : nullptr;
}
