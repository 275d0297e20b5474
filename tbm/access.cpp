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

tn **tbm_root_slot(const tbm_handle_record *handle, const uint8_t *key) {
    const tree_array *root = handle->tbdb_root;
    const auto slot = static_cast<int>(key_bits_extract(key, 0, tbm_root_bits));
    if (root == nullptr || root->ta_nodes == nullptr || slot >= root->ta_nnodes) {
        return nullptr;
    }
    return root->ta_nodes + slot;
}

tn **tn_child_slot(const tn *search_node, uint32_t chunk, uint32_t stride) {
    const child_slots slots = tn_child_slots(search_node);
    if (stride < 6 || stride > 10) {
        return nullptr;
    }
    const uint32_t group_shift = stride - 6;
    const uint32_t group = chunk >> group_shift;
    const uint32_t children = bitmap_count_below(search_node->sn_ebmap, group) << group_shift;
    const auto slot =
        slots.first + static_cast<int>(children + (chunk & ((1U << group_shift) - 1)));
    return slot < slots.end ? slots.nodes + slot : nullptr;
}

tn *tn_inode(const tn *node) {
    if (tn_is_end(node)) {
        return const_cast<tn *>(node);
    }
    if (!tn_is_search(node) || tn_inode_bit(node) == 0) {
        return nullptr;
    }
    const tree_array *array = tn_child_array(node);
    tn **nodes = array == nullptr ? nullptr : current(array->ta_nodes);
    return nodes == nullptr ? nullptr : nodes[0];
}

mask128 leaf_array_length_mask(const leaf_array *array) {
    mask128 mask{};
    const leaf_slots slots = leaf_array_slots(array);
    for (int i = 0; i < slots.count; ++i) {
        if (const leaf *entry = slots.leaves[i]; entry != nullptr) {
            mask_set_from_left(mask, (entry->key_bits_used - tbm_header_bits) & 0xff);
        }
    }
    return mask;
}
