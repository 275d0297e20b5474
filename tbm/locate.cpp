#include "tbm/locate.h"

#include <cstdio>
#include <cstring>

#include "debug_channel/contexts.h"
#include "tbm/access.h"
#include "tbm/depth_guard.h"
#include "tbm/key.h"
#include "tbm/readable_records.h"

namespace {

inline constexpr size_t prefix_text_size = 64;
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

/// Search for any leaf at or below a node. Records that cannot be read are passed over: the node
/// may be an operator's word alone.
struct leaf_finder {
    readable_records memory;
    int visits_left = 1000;

    const leaf *at_or_below(const tn *node, int level) {
        if (node == nullptr || level >= tn_path_nodes || visits_left-- <= 0 || !memory.node(node)) {
            return nullptr;
        }
        if (!tn_is_search(node)) {
            const leaf_slots slots = leaf_array_slots(inode_leaves(node));
            return slots.count > 0 && memory.holds(slots.leaves[0]) ? slots.leaves[0] : nullptr;
        }
        const child_slots children = tn_child_slots(node);
        const leaf *found = nullptr;
        for (int slot = 0; slot < children.end && found == nullptr; ++slot) {
            found = at_or_below(children.nodes[slot], level + 1);
        }
        return found;
    }
};

struct locator {
    const tn *target;
    tn_path &path;
    depth_guard guard;
    readable_records memory;

    /// Marks the target as found directly below `node`, in `group` of it.
    bool found_below(tn *node, int level, int group) {
        if (level >= tn_path_nodes) {
            return false;
        }
        path.nodes[level] = node;
        path.depth = static_cast<uint32_t>(level);
        path.found = 1;
        path.pieces[2 + level] = static_cast<uint8_t>(group);
        return true;
    }

    bool descend(tn *node, int level) {
        if (!guard.enter(level, node)) {
            return false;
        }
        const child_slots children =
            memory.child_array(node) ? tn_child_slots(node) : child_slots{};
        if (children.first == 1 && children.nodes[0] == target) {
            return found_below(node, level, 0);
        }
        for (int slot = children.first; slot < children.end && !guard.stopped; ++slot) {
            tn *child = children.nodes[slot];
            if (child == target) {
                return found_below(node, level, group_of_child(node, slot - children.first));
            }
            if (child != nullptr && memory.holds(child) && tn_is_search(child) &&
                descend(child, level + 1)) {
                path.nodes[level] = child;
                path.pieces[2 + level] =
                    static_cast<uint8_t>(group_of_child(node, slot - children.first));
                return true;
            }
        }
        return false;
    }
};

/// True when an address can be that of a tree node: the library places the root record first.
bool above_root_record(const tree_array *root, const tn *node) {
    return reinterpret_cast<uintptr_t>(root) < reinterpret_cast<uintptr_t>(node);
}

void set_root_pieces(tn_path &path, int root_slot) {
    path.pieces[0] = static_cast<uint8_t>(root_slot / 64 % 64);
    path.pieces[1] = static_cast<uint8_t>(root_slot % 64);
}

enum class key_way { elsewhere, to_root, to_node };

/// Follows a key from the root down to the target and fills its path.
class key_follower {
public:
    key_follower(const uint8_t *key, const tn *target, tn_path &path)
        : target_(target), path_(path) {
        memcpy(key_.bytes, key, tbm_key_bytes);
    }

    key_way follow(const tree_array *root) {
        const auto slot = static_cast<int>(key_bits_extract(key_.bytes, 0, tbm_root_bits));
        tn *node = slot < root->ta_nnodes ? root->ta_nodes[slot] : nullptr;
        if (node == target_) {
            return key_way::to_root;
        }
        set_root_pieces(path_, slot);
        for (int level = 0; level < tn_path_nodes && node != nullptr && memory_.node(node) &&
                            tn_is_search(node) && path_.found == 0 && position_ <= tbm_key_bits_max;
             ++level) {
            node = step(node, level);
        }
        return path_.found != 0 ? key_way::to_node : key_way::elsewhere;
    }

private:
    /// The next node on the way; found is set when the target hangs directly below `node`.
    tn *step(tn *node, int level) {
        path_.nodes[level] = node;
        path_.depth = static_cast<uint32_t>(level);
        if (tn_inode(node) == target_) {
            path_.found = 1;
            return nullptr;
        }
        const uint32_t stride = tn_stride(node);
        const uint32_t chunk = key_bits_extract(key_.bytes, position_, stride);
        position_ += stride;
        tn **slot = tn_child_slot(node, chunk, stride);
        const uint32_t group = chunk >> tn_group_shift(node);
        if (slot == nullptr || (node->sn_ebmap >> group & 1) == 0) {
            return nullptr;
        }
        path_.pieces[2 + level] = static_cast<uint8_t>(group);
        if (*slot == target_) {
            path_.found = 1;
        } else {
            path_.nodes[level] = *slot;
        }
        return *slot;
    }

    tbm_key key_{};
    readable_records memory_;
    const tn *target_;
    tn_path &path_;
    uint32_t position_ = tbm_root_bits;
};

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
    const tree_array *root = tbdb_root_of(tbm_handle_or_report());
    if (root == nullptr || !above_root_record(root, target)) {
        return;
    }
    if (const leaf *inside = leaf_finder{}.at_or_below(target, 0); inside != nullptr) {
        if (key_follower(inside->key, target, path).follow(root) != key_way::elsewhere) {
            return;
        }
        path = {};
    }
    locator search{target, path, {}, {}};
    for (int i = 0; i < root->ta_nnodes && !search.guard.stopped; ++i) {
        tn *node = root->ta_nodes[i];
        if (node == target) {
            return;
        }
        if (node != nullptr && search.memory.holds(node) && tn_is_search(node) &&
            search.descend(node, 0)) {
            set_root_pieces(path, i);
            return;
        }
    }
}

tn *tn_path_parent(const tn_path &path) {
    return path.found != 0 ? path.nodes[path.depth] : nullptr;
}

tn *tn_path_root(const tn_path &path) {
    const tree_array *root = tbdb_root_of(tbm_handle_current());
    const int slot = path.pieces[0] * 64 + path.pieces[1];
    if (path.found == 0 || root == nullptr || slot >= root->ta_nnodes) {
        return nullptr;
    }
    return root->ta_nodes[slot];
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
    const tree_array *root = tbdb_root_of(tbm_handle_current());
    for (int i = 0; root != nullptr && i < root->ta_nnodes; ++i) {
        if (root->ta_nodes[i] == parent) {
            path = {};
            set_root_pieces(path, i);
            return true;
        }
    }
    if (root == nullptr) {
        return false;
    }
    tn_locate(parent, path);
    ++path.depth;
    return path.found != 0 && path.depth < tn_path_nodes;
}

const char *tn_path_child_text(tn_path &path, const tn *child, uint32_t group) {
    const tree_array *root = tbdb_root_of(tbm_handle_current());
    if (root == nullptr || !above_root_record(root, child)) {
        return nullptr;
    }
    path.pieces[2 + path.depth] = static_cast<uint8_t>(group);
    return format_prefix(path, static_cast<int>(path.depth));
}
