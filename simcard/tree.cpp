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

/// Slots with room for one more at `at`; null when memory runs out.
template <typename Record>
Record **slots_insert(Memory &memory, Record **slots, int count, int at, Record *value) {
    auto **grown =
        static_cast<Record **>(memory.allocate(slots_of<Record>, pointer_bytes(count + 1)));
    if (grown == nullptr) {
        return nullptr;
    }
    if (count > 0) {
        memcpy(grown, slots, pointer_bytes(at));
        memcpy(grown + at + 1, slots + at, pointer_bytes(count - at));
    }
    grown[at] = value;
    memory.release(slots_of<Record>, slots, pointer_bytes(count));
    return grown;
}

/// Slots without the one at `at`; null when none is left. Falls back to the old block, whose last
/// pair of slots is then unused, when memory runs out.
template <typename Record>
Record **slots_remove(Memory &memory, Record **slots, int count, int at) {
    const size_t tail = pointer_bytes(count - at - 1);
    if (count == 1) {
        memory.release(slots_of<Record>, slots, pointer_bytes(count));
        return nullptr;
    }
    memmove(slots + at, slots + at + 1, tail);
    auto **shrunk =
        static_cast<Record **>(memory.allocate(slots_of<Record>, pointer_bytes(count - 1)));
    if (shrunk == nullptr) {
        return slots;
    }
    memcpy(shrunk, slots, pointer_bytes(count - 1));
    memory.release(slots_of<Record>, slots, pointer_bytes(count));
    return shrunk;
}

uint32_t chunk_at(const Key &key, int level) {
    return key.chunk(depth_of(level));
}

}    // namespace

void Tree::set_up() {
    FixedPart &fixed = memory_.fixed();
    fixed.root.ta_nodes = fixed.root_slots;
    fixed.root.ta_nnodes = 1 << tbm_root_bits;
    fixed.root_slots[0] = &fixed.first_node;
    fixed.first_node.tn_flags = TN_END | tbm_stride_bits << tn_stride_shift;
    fixed.handle.tbdb_root = &fixed.root;
}

leaf *Tree::find(const Key &key, Path &path) const {
    path.count = 0;
    tn *node = root().ta_nodes[key.root_slot()];
    for (int level = 0; node != nullptr; ++level) {
        const uint32_t chunk = chunk_at(key, level);
        path.push(node, chunk);
        const uint32_t length = key.bits - depth_of(level);
        if (length < tbm_stride_bits) {
            const tn *holder = internal_of(node);
            const uint32_t position = internal_position(length, chunk);
            return holder == nullptr || (holder->in_ibmap >> position & 1) == 0
                       ? nullptr
                       : holder->in_lfarray->la_leaves[ones_below(holder->in_ibmap, position)];
        }
        node =
            is_search(node) && (node->sn_ebmap >> chunk & 1) != 0 ? child_at(node, chunk) : nullptr;
    }
    return nullptr;
}

leaf *Tree::insert(const Key &key, Path &path) {
    auto *entry = memory_.allocate<leaf>(Kind::leaf);
    if (entry == nullptr) {
        return nullptr;
    }
    entry->key_bits_used = static_cast<uint16_t>(key.bits);
    memcpy(entry->key, key.bytes, tbm_key_bytes);
    path.count = 0;
    tn **slot = &root().ta_nodes[key.root_slot()];
    if (*slot == nullptr && (*slot = new_node(key, TN_END)) == nullptr) {
        memory_.release(Kind::leaf, entry);
        return nullptr;
    }
    tn *node = *slot;
    for (int level = 0;; ++level) {
        const uint32_t chunk = chunk_at(key, level);
        path.push(node, chunk);
        const uint32_t length = key.bits - depth_of(level);
        if (length < tbm_stride_bits) {
            tn *holder = internal_for_insert(node);
            if (holder == nullptr || !add_leaf(holder, internal_position(length, chunk), entry)) {
                memory_.release(Kind::leaf, entry);
                return nullptr;
            }
            return entry;
        }
        if (!is_search(node) || (node->sn_ebmap >> chunk & 1) == 0) {
            tn *child = new_node(key, TN_END);
            if (child == nullptr || !become_search(node) || !add_child(node, chunk, child)) {
                memory_.release(Kind::leaf, entry);
                return nullptr;
            }
        }
        node = child_at(node, chunk);
    }
}

tn *Tree::new_node(const Key &key, tn_type type) {
    auto *node = memory_.allocate<tn>(Kind::node);
    if (node != nullptr) {
        node->tn_flags = static_cast<uint16_t>(type | tbm_stride_bits << tn_stride_shift);
        node->key_type = key.ipv6() ? 1 : 0;
    }
    return node;
}

/// An end node becomes a search node without children; its leaves move into an internal node.
bool Tree::become_search(tn *node) {
    if (is_search(node)) {
        return true;
    }
    auto *array = memory_.allocate<tree_array>(Kind::child_array);
    if (array == nullptr) {
        return false;
    }
    if (node->in_lfarray != nullptr) {
        auto *inode = memory_.allocate<tn>(Kind::node);
        tn **slots = inode == nullptr ? nullptr : slots_insert<tn>(memory_, nullptr, 0, 0, inode);
        if (slots == nullptr) {
            return false;
        }
        inode->tn_flags = static_cast<uint16_t>((node->tn_flags & ~tn_type_mask) | TN_INTERN);
        inode->key_type = node->key_type;
        inode->in_lfarray = node->in_lfarray;
        inode->in_ibmap = node->in_ibmap;
        array->ta_nodes = slots;
        array->ta_inode_exists = 1;
    }
    node->in_lfarray = nullptr;
    node->in_ibmap = 0;
    in_order();
    node->tn_flags = static_cast<uint16_t>(node->tn_flags & ~tn_type_mask);
    in_order();
    node->sn_charray = array;
    return true;
}

bool Tree::add_child(tn *node, uint32_t group, tn *child) {
    tree_array *array = node->sn_charray;
    const int inode = has_inode(node) ? 1 : 0;
    const int at = static_cast<int>(ones_below(node->sn_ebmap, group)) + inode;
    tn **slots = slots_insert(memory_, array->ta_nodes, array->ta_nnodes + inode, at, child);
    if (slots == nullptr) {
        return false;
    }
    array->ta_nodes = slots;
    in_order();
    array->ta_nnodes++;
    node->sn_ebmap |= uint64_t{1} << group;
    return true;
}

/// The node that takes a new internal prefix, created when a search node has none.
tn *Tree::internal_for_insert(tn *node) {
    if (!is_search(node)) {
        return node;
    }
    if (has_inode(node)) {
        return node->sn_charray->ta_nodes[0];
    }
    auto *inode = memory_.allocate<tn>(Kind::node);
    tree_array *array = node->sn_charray;
    tn **slots = inode == nullptr
                     ? nullptr
                     : slots_insert(memory_, array->ta_nodes, array->ta_nnodes, 0, inode);
    if (slots == nullptr) {
        return nullptr;
    }
    array->ta_nodes = slots;
    array->ta_inode_exists = 1;
    inode->tn_flags = static_cast<uint16_t>(node->tn_flags | TN_INTERN | tn_inode_flag);
    inode->key_type = node->key_type;
    in_order();
    node->tn_flags |= tn_inode_flag;
    return inode;
}

bool Tree::add_leaf(tn *holder, uint32_t position, leaf *entry) {
    leaf_array *array = holder->in_lfarray;
    if (array == nullptr) {
        array = memory_.allocate<leaf_array>(Kind::leaf_array);
        if (array == nullptr) {
            return false;
        }
        holder->in_lfarray = array;
        holder->tn_flags |= tn_inode_flag;
    }
    const int at = static_cast<int>(ones_below(holder->in_ibmap, position));
    leaf **slots = slots_insert(memory_, array->la_leaves, array->la_nnodes, at, entry);
    if (slots == nullptr) {
        return false;
    }
    array->la_leaves = slots;
    in_order();
    array->la_nnodes++;
    holder->in_ibmap |= uint64_t{1} << position;
    return true;
}

leaf *Tree::take_leaf(tn *holder, uint32_t position) {
    leaf_array *array = holder->in_lfarray;
    const int at = static_cast<int>(ones_below(holder->in_ibmap, position));
    leaf *entry = array->la_leaves[at];
    holder->in_ibmap &= ~(uint64_t{1} << position);
    array->la_nnodes--;
    in_order();
    array->la_leaves = slots_remove(memory_, array->la_leaves, array->la_nnodes + 1, at);
    if (array->la_nnodes == 0) {
        holder->in_lfarray = nullptr;
        memory_.release(Kind::leaf_array, array);
        holder->tn_flags = static_cast<uint16_t>(holder->tn_flags & ~tn_inode_flag);
    }
    return entry;
}

void Tree::drop_internal(tn *node) {
    tree_array *array = node->sn_charray;
    memory_.release(Kind::node, array->ta_nodes[0]);
    node->tn_flags = static_cast<uint16_t>(node->tn_flags & ~tn_inode_flag);
    array->ta_inode_exists = 0;
    in_order();
    array->ta_nodes = slots_remove(memory_, array->ta_nodes, array->ta_nnodes + 1, 0);
}

void Tree::drop_child(tn *node, uint32_t group) {
    tree_array *array = node->sn_charray;
    const int inode = has_inode(node) ? 1 : 0;
    const int at = static_cast<int>(ones_below(node->sn_ebmap, group)) + inode;
    memory_.release(Kind::node, array->ta_nodes[at]);
    node->sn_ebmap &= ~(uint64_t{1} << group);
    array->ta_nnodes--;
    in_order();
    array->ta_nodes = slots_remove(memory_, array->ta_nodes, array->ta_nnodes + 1 + inode, at);
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
    memory_.release(Kind::child_slots, array->ta_nodes, pointer_bytes(inode == nullptr ? 0 : 1));
    if (inode != nullptr) {
        inode->in_lfarray = nullptr;    // used again, the node is of another type for a moment
    }
    memory_.release(Kind::node, inode);
    memory_.release(Kind::child_array, array);
}

void Tree::remove(const Key &key, Path &path, Forget forget, void *context) {
    int level = path.count - 1;
    tn *node = path.node[level];
    const uint32_t position = internal_position(key.bits - depth_of(level), chunk_at(key, level));
    memory_.release(Kind::leaf, take_leaf(internal_of(node), position));
    if (is_search(node)) {
        if (node->sn_charray->ta_nodes[0]->in_lfarray == nullptr) {
            drop_internal(node);
        }
        return;
    }
    while (level > 0 && !is_search(path.node[level]) && path.node[level]->in_lfarray == nullptr) {
        forget(context, path.node[level], level);
        --level;
        drop_child(path.node[level], chunk_at(key, level));
    }
    path.count = level + 1;
}

}    // namespace simcard
