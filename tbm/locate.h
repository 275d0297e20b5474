// Finds where a node hangs in the tree, and so its prefix and its parent.
#pragma once

#include <cstdint>

#include "records/tree.h"

inline constexpr int tn_path_nodes = 24;
inline constexpr int tn_path_pieces = 28;

/// Path to a located node.
struct tn_path {
    uint32_t found;    // 1 when the target was found
    uint32_t pad4;
    tn *nodes[tn_path_nodes];    // nodes[depth]: the target's parent; nodes[i] below that: the
                                 // ancestor at depth i + 1
    uint32_t depth;              // depth of the target's parent below its root
    uint8_t
        pieces[tn_path_pieces];    // 0, 1: root slot div 64, mod 64; 2 + d: group taken at depth d
};
static_assert(sizeof(tn_path) == 232);

/// Fills the path of `target` (zeroed here first). Not found: found stays 0; a root node counts as
/// not found, and so does a node more than 24 levels below its root. For an internal node the piece
/// of its own level is 0. Without a tree sends "NULL tbm_handle\n". A
/// node to which the key of a leaf below it leads is found at once; another costs one pass over the
/// tree.
void tn_locate(const tn *target, tn_path &path);

/// The target's parent after a successful search, a root node included. Null when the path was not
/// found.
tn *tn_path_parent(const tn_path &path);

/// Root node above a found target, read again from its root slot; null when the slot is empty by
/// now.
tn *tn_path_root(const tn_path &path);

/// VRF rebuilt from pieces 0 to 2.
uint16_t tn_path_vrf(const tn_path &path);

/// Packs n 6-bit values, most significant bit first, into (6 n + 7) / 8 bytes of `packed`.
void six_bit_pack(const uint8_t *values, int n, uint8_t *packed);

/// Bytes that n packed 6-bit values take.
constexpr int six_bit_bytes(int n) {
    return (6 * n + 7) / 8;
}

/// Prefix of a node as hexadecimal text with its length ("0x0A/6"), null when it is not found.
/// The text stands in one static buffer that the next call of this or of tn_path_child_text
/// overwrites.
const char *tn_path_prefix_text(const tn *node);

/// Locates a node in order to name its children: fills the path that they share but for their own
/// piece. Takes root nodes too. False when the node is not part of the tree, without a line.
bool tn_locate_children(const tn *parent, tn_path &path);

/// The text that tn_path_prefix_text gives for a child in `group` of the node that
/// tn_locate_children took, without another search; null for a null child.
const char *tn_path_child_text(tn_path &path, const tn *child, uint32_t group);
