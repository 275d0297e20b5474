#include "simcard/sound.h"

#include "simcard/seal.h"

namespace simcard {

namespace {

constexpr uint32_t leaves_max = 63;    // of an internal node

/// Of the leaf array of a node that holds internal prefixes; 0 without one.
uint32_t leaves_seal(const BlockTable &blocks, const tn *holder) {
    if (holder == nullptr) {
        return 0;
    }
    const leaf_array *array = holder->in_lfarray;
    demand(blocks.among(Kind::leaf_array, array));
    const auto count = static_cast<uint32_t>(array->la_nnodes);
    leaf *const *slots = array->la_leaves;
    demand(count <= leaves_max && blocks.among(Kind::leaf_slots, slots, count * sizeof(void *)));
    Seal sealed;
    sealed.add(slots);
    sealed.add(count);
    for (uint32_t i = 0; i < count; ++i) {
        sealed.add(slots[i]);
    }
    return sealed.value();
}

}    // namespace

void refuse_damaged() {
    throw Damaged{};
}

tn *root_node(const Memory &memory, uint32_t slot) {
    const FixedPart &part = memory.fixed();
    demand(part.handle.tbdb_root == &part.root && part.root.ta_nodes == part.root_slots &&
           part.root.ta_nnodes == 1 << tbm_root_bits);
    demand(part.root_slots[slot] == memory.root(slot));
    return memory.root(slot);
}

leaf *leaf_of(const BlockTable &blocks, const tn *holder, uint32_t place, uint32_t position) {
    const leaf_array *array = holder->in_lfarray;
    demand(blocks.among(Kind::leaf_array, array));
    leaf *const *slots = array->la_leaves;
    const uint32_t n = ones_below(holder->in_ibmap, position);
    demand(blocks.among(Kind::leaf_slots, slots, (n + 1) * sizeof(void *)));
    demand(blocks.holds(Kind::leaf, slots[n], leaf_place(place, position)));
    return slots[n];
}

NodeParts::NodeParts(const BlockTable &blocks, tn *node, uint32_t place) {
    Seal sealed;
    sealed.add(uint64_t{place} << 32 | uint64_t{node->key_type} << 16 | node->tn_flags);
    sealed.add(node->sn_ebmap);
    sealed.add(node->sn_charray);    // or the leaves of an end node
    if (!searches(node)) {
        holder = node->in_lfarray != nullptr ? node : nullptr;
        seal = sealed.value();
        return;
    }
    const tree_array *array = node->sn_charray;
    demand(blocks.among(Kind::child_array, array));
    slots = array->ta_nodes;
    sealed.add(slots);
    sealed.add(uint64_t{static_cast<uint16_t>(array->ta_nnodes)} << 16 |
               static_cast<uint16_t>(array->ta_inode_exists));
    if (has_inode(node)) {
        demand(blocks.among(Kind::child_slots, slots, sizeof(void *)));
        holder = *slots++;
        demand(blocks.among(Kind::node, holder));
        sealed.add(holder);
        sealed.add(holder->tn_flags);
        sealed.add(holder->in_ibmap);
        sealed.add(holder->in_lfarray);
    }
    seal = sealed.value();
}

SoundNode::SoundNode(const Memory &memory, tn *sound, uint32_t its_place)
    : node(sound), place(its_place) {
    const NodeParts parts(memory.blocks(), node, place);
    demand(parts.seal == memory.seals(node).structure);
    slots = parts.slots;
    holder = parts.holder;
}

void SoundNode::demand_leaves(const Memory &memory) const {
    demand(leaves_seal(memory.blocks(), holder) == memory.seals(node).leaves);
}

leaf *SoundNode::leaf_at(const Memory &memory, uint32_t position) const {
    demand_leaves(memory);
    return (bitmap() >> position & 1) == 0 ? nullptr
                                           : leaves()->la_leaves[ones_below(bitmap(), position)];
}

void seal_node(Memory &memory, tn *node, uint32_t place) {
    BlockTable::Seals &seals = memory.seals(node);
    memory.undo().save(seals);
    const NodeParts parts(memory.blocks(), node, place);
    seals.structure = parts.seal;
    seals.leaves = leaves_seal(memory.blocks(), parts.holder);
}

}    // namespace simcard
