#include "simcard/tree.h"

#include <atomic>
#include <cstring>
#include <type_traits>

namespace simcard {

namespace {

constexpr size_t pointer_bytes(int count) {
    return static_cast<size_t>(count) * sizeof(void *);
}

template <typename Record>
constexpr Kind slots_of = std::is_same_v<Record, tn> ? Kind::child_slots : Kind::leaf_slots;

/// Readers take no lock: what comes before is to be seen before what comes behind. Keeps the
/// compiler from exchanging stores; x86 keeps their order.
void in_order() {
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

uint32_t chunk_at(const Key &key, int level) {
    return key.chunk(depth_of(level));
}

uint32_t position_of(const Key &key, int level) {
    return internal_position(key.bits - depth_of(level), chunk_at(key, level));
}

}    // namespace

/// Slots with room for one more at `at`.
template <typename Record>
Record **Tree::slots_insert(Record **slots, int count, int at, Record *value) {
    auto **grown =
        static_cast<Record **>(memory_.allocate(slots_of<Record>, pointer_bytes(count + 1)));
    if (count > 0) {
        memcpy(grown, slots, pointer_bytes(at));
        memcpy(grown + at + 1, slots + at, pointer_bytes(count - at));
    }
    grown[at] = value;
    memory_.release(slots_of<Record>, slots);
    return grown;
}

/// Slots without the one at `at`; null when none is left. Stays in the old block, whose last slot
/// is then unused, when memory runs out.
template <typename Record>
Record **Tree::slots_remove(Record **slots, int count, int at) {
    auto **shrunk =
        count == 1
            ? nullptr
            : static_cast<Record **>(memory_.allocate(slots_of<Record>, pointer_bytes(count - 1)));
    if (shrunk == nullptr && count > 1) {
        memory_.undo().save(slots, pointer_bytes(count));
        memmove(slots + at, slots + at + 1, pointer_bytes(count - at - 1));
        return slots;
    }
    if (shrunk != nullptr) {
        memcpy(shrunk, slots, pointer_bytes(at));
        memcpy(shrunk + at, slots + at + 1, pointer_bytes(count - at - 1));
    }
    memory_.release(slots_of<Record>, slots);
    return shrunk;
}

void Tree::set_up() {
    FixedPart &fixed = memory_.fixed();
    fixed.root.ta_nodes = fixed.root_slots;
    fixed.root.ta_nnodes = 1 << tbm_root_bits;
    memory_.set_root(0, &fixed.first_node);
    fixed.first_node.tn_flags = TN_END | tbm_stride_bits << tn_stride_shift;
    fixed.handle.tbdb_root = &fixed.root;
    seal_node(memory_, &fixed.first_node, root_place(0));
    memory_.commit();
}

/// Follows a key as far as there are nodes; true when the last one is where the key belongs. Who
/// goes on holds the last one against its place, and with it those above it.
bool Tree::descend(const Key &key, Path &path) const {
    path.count = 0;
    tn *node = root_node(memory_, key.root_slot());
    uint32_t place = root_place(key.root_slot());
    for (int level = 0; node != nullptr; ++level) {
        const uint32_t chunk = chunk_at(key, level);
        path.push(node, place, chunk);
        const bool reached = key.bits - depth_of(level) < tbm_stride_bits;
        if (reached || !searches(node) || (node->sn_ebmap >> chunk & 1) == 0) {
            return reached;
        }
        node = child_of(memory_.blocks(), node, chunk);
        memory_.blocks().prefetch(node);
        place = place_below(place, chunk);
    }
    return false;
}

leaf *Tree::find(const Key &key, Path &path) const {
    const bool reached = descend(key, path);
    if (path.count == 0) {
        return nullptr;
    }
    const int level = path.count - 1;
    const SoundNode last(memory_, path.node[level], path.place[level]);
    return reached ? last.leaf_at(memory_, position_of(key, level)) : nullptr;
}

/// Throws when a new leaf cannot go to or below the last node of a path.
void Tree::demand_room_at(const Key &key, const Path &path, bool reached) const {
    const int level = path.count - 1;
    const SoundNode last(memory_, path.node[level], path.place[level]);
    last.demand_leaves(memory_);
    demand(!reached || (last.bitmap() >> position_of(key, level) & 1) == 0);
}

leaf *Tree::insert(const Key &key, Path &path) {
    const bool reached = descend(key, path);
    if (path.count != 0) {
        demand_room_at(key, path, reached);
    } else {
        grow_root(key, path);
    }
    while (key.bits - depth_of(path.count - 1) >= tbm_stride_bits) {
        grow_child(key, path);
    }
    const int level = path.count - 1;
    tn *node = path.node[level];
    const uint32_t place = path.place[level];
    const uint32_t position = position_of(key, level);
    auto *entry = memory_.allocate<leaf>(Kind::leaf, leaf_place(place, position));
    entry->key_bits_used = static_cast<uint16_t>(key.bits);
    memcpy(entry->key, key.bytes, tbm_key_bytes);
    add_leaf(internal_for_insert(node, place), position, entry);
    seal_node(memory_, node, place);
    return entry;
}

/// Adds the next node of a key below the last one of a path.
void Tree::grow_child(const Key &key, Path &path) {
    const int level = path.count - 1;
    tn *node = path.node[level];
    const uint32_t group = path.group[level];
    const uint32_t place = place_below(path.place[level], group);
    tn *child = new_node(key, place);
    become_search(node, path.place[level]);
    add_child(node, group, child);
    seal_node(memory_, node, path.place[level]);
    path.push(child, place, chunk_at(key, path.count));
}

void Tree::grow_root(const Key &key, Path &path) {
    const uint32_t slot = key.root_slot();
    tn *node = new_node(key, root_place(slot));
    seal_node(memory_, node, root_place(slot));
    memory_.set_root(slot, node);
    path.push(node, root_place(slot), chunk_at(key, 0));
}

tn *Tree::new_node(const Key &key, uint32_t place) {
    auto *node = memory_.allocate<tn>(Kind::node, place);
    node->tn_flags = TN_END | tbm_stride_bits << tn_stride_shift;
    node->key_type = key.ipv6() ? 1 : 0;
    return node;
}

/// An end node becomes a search node without children; its leaves move into an internal node.
void Tree::become_search(tn *node, uint32_t place) {
    if (is_search(node)) {
        return;
    }
    memory_.undo().save(*node);
    auto *array = memory_.allocate<tree_array>(Kind::child_array);
    if (node->in_lfarray != nullptr) {
        auto *inode = memory_.allocate<tn>(Kind::node, place_below(place, internal_group));
        inode->tn_flags = static_cast<uint16_t>((node->tn_flags & ~tn_type_mask) | TN_INTERN);
        inode->key_type = node->key_type;
        inode->in_lfarray = node->in_lfarray;
        inode->in_ibmap = node->in_ibmap;
        array->ta_nodes = slots_insert<tn>(nullptr, 0, 0, inode);
        array->ta_inode_exists = 1;
    }
    node->in_lfarray = nullptr;
    node->in_ibmap = 0;
    in_order();
    node->tn_flags = static_cast<uint16_t>(node->tn_flags & ~tn_type_mask);
    in_order();
    node->sn_charray = array;
}

void Tree::add_child(tn *node, uint32_t group, tn *child) {
    tree_array *array = node->sn_charray;
    memory_.undo().save(*node);
    memory_.undo().save(*array);
    const int inode = has_inode(node) ? 1 : 0;
    const int at = static_cast<int>(ones_below(node->sn_ebmap, group)) + inode;
    array->ta_nodes = slots_insert(array->ta_nodes, array->ta_nnodes + inode, at, child);
    in_order();
    array->ta_nnodes++;
    node->sn_ebmap |= uint64_t{1} << group;
}

/// The node that takes a new internal prefix, created when a search node has none.
tn *Tree::internal_for_insert(tn *node, uint32_t place) {
    if (!is_search(node)) {
        return node;
    }
    tree_array *array = node->sn_charray;
    if (has_inode(node)) {
        return array->ta_nodes[0];
    }
    memory_.undo().save(*node);
    memory_.undo().save(*array);
    auto *inode = memory_.allocate<tn>(Kind::node, place_below(place, internal_group));
    inode->tn_flags = static_cast<uint16_t>(node->tn_flags | TN_INTERN | tn_inode_flag);
    inode->key_type = node->key_type;
    array->ta_nodes = slots_insert(array->ta_nodes, array->ta_nnodes, 0, inode);
    array->ta_inode_exists = 1;
    in_order();
    node->tn_flags |= tn_inode_flag;
    return inode;
}

void Tree::add_leaf(tn *holder, uint32_t position, leaf *entry) {
    memory_.undo().save(*holder);
    leaf_array *array = holder->in_lfarray;
    if (array == nullptr) {
        array = memory_.allocate<leaf_array>(Kind::leaf_array);
        holder->in_lfarray = array;
        holder->tn_flags |= tn_inode_flag;
    }
    memory_.undo().save(*array);
    const int at = static_cast<int>(ones_below(holder->in_ibmap, position));
    array->la_leaves = slots_insert(array->la_leaves, array->la_nnodes, at, entry);
    in_order();
    array->la_nnodes++;
    holder->in_ibmap |= uint64_t{1} << position;
}

leaf *Tree::take_leaf(tn *holder, uint32_t position) {
    leaf_array *array = holder->in_lfarray;
    memory_.undo().save(*holder);
    memory_.undo().save(*array);
    const int at = static_cast<int>(ones_below(holder->in_ibmap, position));
    leaf *entry = array->la_leaves[at];
    holder->in_ibmap &= ~(uint64_t{1} << position);
    array->la_nnodes--;
    in_order();
    array->la_leaves = slots_remove(array->la_leaves, array->la_nnodes + 1, at);
    if (array->la_nnodes == 0) {
        holder->in_lfarray = nullptr;
        memory_.release(Kind::leaf_array, array);
        holder->tn_flags = static_cast<uint16_t>(holder->tn_flags & ~tn_inode_flag);
    }
    return entry;
}

void Tree::drop_internal(tn *node) {
    tree_array *array = node->sn_charray;
    memory_.undo().save(*node);
    memory_.undo().save(*array);
    memory_.release(Kind::node, array->ta_nodes[0]);
    node->tn_flags = static_cast<uint16_t>(node->tn_flags & ~tn_inode_flag);
    array->ta_inode_exists = 0;
    in_order();
    array->ta_nodes = slots_remove(array->ta_nodes, array->ta_nnodes + 1, 0);
}

void Tree::drop_child(const SoundNode &at, uint32_t group) {
    tn *node = at.node;
    tree_array *array = node->sn_charray;
    memory_.release(Kind::node, at.child(memory_.blocks(), group));
    memory_.undo().save(*node);
    memory_.undo().save(*array);
    const int inode = has_inode(node) ? 1 : 0;
    const int slot = static_cast<int>(ones_below(node->sn_ebmap, group)) + inode;
    node->sn_ebmap &= ~(uint64_t{1} << group);
    array->ta_nnodes--;
    in_order();
    array->ta_nodes = slots_remove(array->ta_nodes, array->ta_nnodes + 1 + inode, slot);
    if (array->ta_nnodes == 0) {
        become_end(node);
    }
}

/// A search node without children takes its leaves back and becomes an end node.
void Tree::become_end(tn *node) {
    tree_array *array = node->sn_charray;
    tn *inode = has_inode(node) ? array->ta_nodes[0] : nullptr;
    leaf_array *leaves = inode == nullptr ? nullptr : inode->in_lfarray;
    const uint64_t bitmap = inode == nullptr ? 0 : inode->in_ibmap;
    node->sn_charray = nullptr;
    in_order();
    node->tn_flags = static_cast<uint16_t>(node->tn_flags | TN_END);
    in_order();
    node->in_lfarray = leaves;
    node->in_ibmap = bitmap;
    memory_.release(Kind::child_slots, array->ta_nodes);
    if (inode != nullptr) {
        memory_.undo().save(*inode);
        inode->in_lfarray = nullptr;    // used again, the node is of another type for a moment
    }
    memory_.release(Kind::node, inode);
    memory_.release(Kind::child_array, array);
}

void Tree::remove(const Key &key, Path &path, Forget forget, void *context) {
    int level = path.count - 1;
    tn *node = path.node[level];
    const bool search = is_search(node);
    tn *holder = search ? node->sn_charray->ta_nodes[0] : node;
    const uint32_t position = position_of(key, level);
    memory_.release(Kind::leaf, take_leaf(holder, position));
    if (search && holder->in_lfarray == nullptr) {
        drop_internal(node);
    }
    seal_node(memory_, node, path.place[level]);
    while (level > 0 && !is_search(path.node[level]) && path.node[level]->in_lfarray == nullptr) {
        forget(context, path.node[level], level);
        --level;
        const SoundNode parent(memory_, path.node[level], path.place[level]);
        parent.demand_leaves(memory_);
        drop_child(parent, path.group[level]);
        seal_node(memory_, path.node[level], path.place[level]);
    }
    path.count = level + 1;
}

}    // namespace simcard
