// Finds where a node hangs in the tree, and so its prefix and its parent.
#pragma once

#include <cstdint>

#include "tbm/records.h"

inline constexpr int tn_path_nodes = 24;
inline constexpr int tn_path_pieces = 28;

/// Path to a located node.
struct tn_path {
    uint32_t found;    // 1 when the target was found
    uint32_t pad4;
    tn *nodes[tn_path_nodes];    // nodes[depth]: the target; nodes[i]: ancestor at depth i + 1
    uint32_t depth;              // depth of the target's parent below its root
    uint8_t
        pieces[tn_path_pieces];    // 0, 1: root slot div 64, mod 64; 2 + d: group taken at depth d
};
static_assert(sizeof(tn_path) == 232);

/// Fills the path of `target` (zeroed here first). Not found: found stays 0; a root node counts as
/// not found. Without a tree sends "NULL tbm_handle\n". One pass over the tree at most.
void tn_locate(const tn *target, tn_path &path);

/// The target's parent after a successful search: nodes[depth - 1], or the root node (from the
/// path's first two pieces) when depth is 0. Null when the path was not found.
tn *tn_path_parent(const tn_path &path);

/// VRF rebuilt from pieces 0 to 2.
uint16_t tn_path_vrf(const tn_path &path);

/// Adds 1 for the inode flag of every node of the subtree and 1 for every node below `node`.
void tn_subtree_count(const tn *node, uint32_t &count);

/// Packs n 6-bit values, most significant bit first, into (6 n + 7) / 8 bytes of `packed`.
void six_bit_pack(const uint8_t *values, int n, uint8_t *packed);

/// Prefix of a node as hexadecimal text with its length ("0x0A01/12"), null when it is not found.
/// The text stands in one static buffer that the next call overwrites.
const char *tn_path_prefix_text(const tn *node);
