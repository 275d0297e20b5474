#include "tbm/locate.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "reply/refusals.h"
#include "tbm/descent.h"
#include "tbm/key.h"

namespace {

constexpr size_t prefix_text_size = 64;
char prefix_text[prefix_text_size];

/// Group of the child at `ordinal` (0: first behind the internal node). Slots beyond the bitmap
/// count for its last group; -1 without any.
int group_of_child(const tn *node, int ordinal) {
    int group = -1;
    for (int i = 0; i <= ordinal >> tn_group_shift(node); ++i) {
        group = sn_ebmap_next(node, group);
    }
    return group;
}

void set_root_pieces(tn_path &path, int root_slot) {
    path.pieces[0] = static_cast<uint8_t>(root_slot / 64 % 64);
    path.pieces[1] = static_cast<uint8_t>(root_slot % 64);
}

struct locator : plain_visitor {
    static constexpr descent_rules rules{.internal_nodes = true};

    const tn *target;
    tn_path &path;
    // Nodes on the way from the root on, and which child of the one above each is.
    tn *nodes[tbm_walk_levels] = {};
    int ordinals[tbm_walk_levels] = {};

    way at(tn *node, const tree_place &place, const handed &) {
        if (place.root) {
            set_root_pieces(path, place.slot);
            nodes[0] = node;
            return node == target ? way::stop : way::down;
        }
        if (node == target && place.level <= tn_path_nodes) {
            ordinals[place.level] = place.internal ? -1 : ordinal(place);
            fill_path(place.level - 1);
            return way::stop;
        }
        nodes[place.level] = node;
        ordinals[place.level] = ordinal(place);
        return place.internal ? way::past : way::down;
    }

private:
    static int ordinal(const tree_place &place) {
        return place.slot - static_cast<int>(tn_inode_bit(place.parent));
    }

    /// The target hangs below the last node on the way, at `depth`.
    void fill_path(int depth) {
        path.found = 1;
        path.depth = static_cast<uint32_t>(depth);
        path.nodes[depth] = nodes[depth];
        for (int d = 0; d <= depth; ++d) {
            const int group = ordinals[d + 1] < 0 ? 0 : group_of_child(nodes[d], ordinals[d + 1]);
            path.pieces[2 + d] = static_cast<uint8_t>(group);
            if (d < depth) {
                path.nodes[d] = nodes[d + 1];
            }
        }
    }
};

/// First leaf on the way down from a node that takes the first branch everywhere; null where that
/// leads to none.
const leaf *first_leaf(const tn *node) {
    for (int level = 0; level < tn_path_nodes && tn_is_search(node); ++level) {
        const child_slots children = tn_child_slots(node);
        int slot = 0;
        while (slot < children.end && readable_node(children.nodes[slot]) == nullptr) {
            ++slot;
        }
        if (slot >= children.end) {
            return nullptr;
        }
        node = readable_node(children.nodes[slot]);
    }
    const leaf_slots leaves = leaf_array_slots(inode_leaves(node));
    return leaves.count > 0 ? leaves.at(0) : nullptr;
}

/// Follows a key from the root down to the target, filling its path. False when it leads elsewhere;
/// a root node ends the search, too, and is not found.
bool follow_key(const uint8_t *key, const tn *target, tn_path &path) {
    tbm_key bits{};
    memcpy(bits.bytes, key, tbm_key_bytes);
    tn *const *root_slot = tbm_root_slot(tbm_handle_current(), key);
    tn *node = root_slot == nullptr ? nullptr : readable_node(*root_slot);
    if (node == target) {
        return true;
    }
    set_root_pieces(path, static_cast<int>(key_bits_extract(key, 0, tbm_root_bits)));
    uint32_t position = tbm_root_bits;
    for (int level = 0; level < tn_path_nodes && node != nullptr && tn_is_search(node) &&
                        position <= tbm_key_bits_max;
         ++level) {
        path.nodes[level] = node;
        path.depth = static_cast<uint32_t>(level);
        path.found = tn_inode(node) == target ? 1 : 0;
        if (path.found != 0) {
            return true;
        }
        const uint32_t stride = tn_stride(node);
        const uint32_t chunk = key_bits_extract(bits.bytes, position, stride);
        const uint32_t group = chunk >> tn_group_shift(node);
        const tn_slot slot = tn_child_slot(node, chunk, stride);
        if ((node->sn_ebmap >> group & 1) == 0 || !slot.counted) {
            return false;
        }
        path.pieces[2 + level] = static_cast<uint8_t>(group);
        path.found = slot.child == target ? 1 : 0;
        if (path.found != 0) {
            return true;
        }
        node = tn_slot_node(slot);
        path.nodes[level] = node;
        position += stride;
    }
    return false;
}

/// True when an address can be that of a tree node: the library places the root record first.
bool above_root_record(const tn *node) {
    const tbm_handle_record *handle = tbm_handle_current();
    return readable_memory::holds(handle) &&
           reinterpret_cast<uintptr_t>(handle->tbdb_root) < reinterpret_cast<uintptr_t>(node);
}

/// Text of the pieces 3 to 2 + n of a path.
const char *format_prefix(const tn_path &path, int n) {
    uint8_t packed[tn_path_pieces];
    six_bit_pack(path.pieces + 3, n, packed);
    char *at = prefix_text;
    *at++ = '0';
    *at++ = 'x';
    for (int i = 0; i < six_bit_bytes(n); ++i) {
        *at++ = "0123456789ABCDEF"[packed[i] >> 4];
        *at++ = "0123456789ABCDEF"[packed[i] & 0xf];
    }
    snprintf(at, static_cast<size_t>(prefix_text + prefix_text_size - at), "/%d", 6 * n);
    return prefix_text;
}

}    // namespace

void tn_locate(const tn *target, tn_path &path) {
    path = {};
    const tbm_handle_record *handle = tbm_handle_or_report();
    if (handle == nullptr || !above_root_record(target)) {
        return;
    }
    const leaf *inside = first_leaf(target);
    if (inside != nullptr && follow_key(inside->key, target, path)) {
        return;
    }
    path = {};
    locator search{{}, target, path};
    tree_descent descent(search);
    descent.from_roots(tbdb_root_of(handle));
    if (path.found == 0) {
        path = {};
    }
}

tn *tn_path_parent(const tn_path &path) {
    return path.found != 0 ? path.nodes[path.depth] : nullptr;
}

tn *tn_path_root(const tn_path &path) {
    const root_table root = tbdb_root_of(tbm_handle_current());
    const int slot = path.pieces[0] * 64 + path.pieces[1];
    return path.found == 0 || slot >= root.count ? nullptr : root.slots[slot];
}

uint16_t tn_path_vrf(const tn_path &path) {
    const uint8_t *pieces = path.pieces;
    return static_cast<uint16_t>(((pieces[0] & 0xf) << 4 | pieces[1] >> 2) << 8 |
                                 ((pieces[1] & 3) << 6 | (pieces[2] & 0x3f)));
}

void six_bit_pack(const uint8_t *values, int n, uint8_t *packed) {
    uint32_t window = 0;
    int bits = 0;
    for (int i = 0; i < n; ++i) {
        window = window << 6 | (values[i] & 0x3fU);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            *packed++ = static_cast<uint8_t>(window >> bits);
        }
    }
    if (bits > 0) {
        *packed = static_cast<uint8_t>(window << (8 - bits));
    }
}

const char *tn_path_prefix_text(const tn *node) {
    tn_path path;
    tn_locate(node, path);
    return path.found == 0 ? nullptr : format_prefix(path, static_cast<int>(path.depth));
}

bool tn_locate_children(const tn *parent, tn_path &path) {
    const root_table root = tbdb_root_of(tbm_handle_current());
    const auto *slot = std::find(root.slots, root.slots + root.count, parent);
    if (slot != root.slots + root.count) {
        path = {};
        set_root_pieces(path, static_cast<int>(slot - root.slots));
        return true;
    }
    if (root.slots == nullptr) {
        return false;
    }
    tn_locate(parent, path);
    ++path.depth;
    return path.found != 0 && path.depth < tn_path_nodes;
}

const char *tn_path_child_text(tn_path &path, const tn *child, uint32_t group) {
    if (!above_root_record(child)) {
        return nullptr;
    }
    path.pieces[2 + path.depth] = static_cast<uint8_t>(group);
    return format_prefix(path, static_cast<int>(path.depth));
}
