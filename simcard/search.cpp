#include "simcard/search.h"

#include "simcard/length_set.h"

namespace simcard {

namespace {

/// The longest match so far, not yet followed to its leaf.
struct Match {
    const tn *holder = nullptr;
    uint32_t place = 0;
    uint32_t position = 0;
};

/// Notes the longest of a node's internal prefixes for a chunk, if there is one; its leaf is held
/// against its place later. An internal node without one must be the right one.
void note_internal(const BlockTable &blocks, const tn *node, uint32_t place, uint32_t chunk,
                   Match &match) {
    const bool inode = searches(node);
    const tn *holder = inode ? inode_of(blocks, node) : node;
    for (uint32_t length = tbm_stride_bits; length-- > 0;) {
        const uint32_t position = internal_position(length, chunk);
        if ((holder->in_ibmap >> position & 1) != 0) {
            match = {holder, place, position};
            return;
        }
    }
    demand(!inode || blocks.holds(Kind::node, holder, place_below(place, internal_group)));
}

mask128 announced_lengths(const tn *hinted) {
    mask128 mask{};
    if (hinted != nullptr) {
        mask = hinted->int_mask | hinted->ext_mask;
        add_length(mask, hinted->bmsf);
    }
    return mask;
}

}    // namespace

void search(const Memory &memory, const Key &key, SearchResult &result) {
    const BlockTable &blocks = memory.blocks();
    Match match;
    const tn *hinted = nullptr;
    uint32_t place = root_place(key.root_slot());
    const tn *node = root_node(memory, key.root_slot());
    for (int level = 0; node != nullptr && level < tree_levels; ++level) {
        const uint32_t chunk = key.chunk(depth_of(level));
        if (node->hint_state != HINT_INIT) {
            hinted = node;
            result.trail[result.hint_level] = {node->hw_index, node->en_hw_index};
        }
        if (has_inode(node)) {
            note_internal(blocks, node, place, chunk, match);
        }
        if (!searches(node) || (node->sn_ebmap >> chunk & 1) == 0) {
            break;
        }
        result.level++;
        result.hint_level =
            static_cast<uint8_t>(result.hint_level + (node->hint_ebmap >> chunk & 1));
        place = place_below(place, chunk);
        node = child_of(blocks, node, chunk);
    }
    if (result.level != 0 && match.place != place) {
        demand(blocks.holds(Kind::node, node, place));
    }
    result.hint_mask = announced_lengths(hinted);
    if (match.holder != nullptr) {
        result.best = leaf_of(blocks, match.holder, match.place, match.position);
    }
}

}    // namespace simcard
