#include "simcard/search.h"

#include "simcard/length_set.h"

namespace simcard {

namespace {

/// Longest leaf of a node's internal prefixes for a chunk, or null.
leaf *longest_internal(tn *node, uint32_t chunk) {
    const tn *holder = internal_of(node);
    if (holder == nullptr) {
        return nullptr;
    }
    for (uint32_t length = tbm_stride_bits; length-- > 0;) {
        const uint32_t position = internal_position(length, chunk);
        if ((holder->in_ibmap >> position & 1) != 0) {
            return holder->in_lfarray->la_leaves[ones_below(holder->in_ibmap, position)];
        }
    }
    return nullptr;
}

void note_hint(const tn *node, SearchResult &result) {
    result.hint_mask = node->int_mask | node->ext_mask;
    add_length(result.hint_mask, node->bmsf);
    result.trail[result.hint_level] = {node->hw_index, node->en_hw_index};
}

}    // namespace

SearchResult search(const tree_array &root, const Key &key) {
    SearchResult result;
    tn *node = root.ta_nodes[key.root_slot()];
    for (int level = 0; node != nullptr; ++level) {
        const uint32_t chunk = key.chunk(depth_of(level));
        if (node->hint_state != HINT_INIT) {
            note_hint(node, result);
        }
        if (leaf *match = longest_internal(node, chunk); match != nullptr) {
            result.best = match;
        }
        if (!is_search(node) || (node->sn_ebmap >> chunk & 1) == 0) {
            break;
        }
        result.level++;
        if ((node->hint_ebmap >> chunk & 1) != 0) {
            result.hint_level++;
        }
        node = child_at(node, chunk);
    }
    return result;
}

}    // namespace simcard
