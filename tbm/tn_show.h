// What the node commands print of one node.
#pragma once

#include <cstdint>

#include "tbm/records.h"

inline constexpr uint64_t tn_leaves_only = 11;    // mode of tn and tnwalk

/// Option bits of the tn command.
enum tn_option : uint64_t {
    TN_SHOW_PARENT = 1,
    TN_SHOW_INODE_LEAVES = 2,
    TN_SHOW_CHAIN = 4,
    TN_SHOW_ALL_CHILDREN = 8,
};

/// Sends the ancestor chain and the node's own line as the options ask for them.
void tn_show_place(const tn *node, uint64_t options);

/// Sends the part that depends on the node's type: hint data, bitmaps, children and leaves; with
/// `leaves_only` the leaves of INTERN and END nodes alone.
void tn_show_content(const tn *node, uint64_t options, bool leaves_only);

/// Place (unless the mode asks for leaves only), content and an empty line: the tn command on a
/// node that is known to be readable.
void tn_show(const tn *node, uint64_t options, uint64_t mode);
