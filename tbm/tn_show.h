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

/// How far a command may go from the node that it shows.
enum class tn_reach {
    subtree,       // everything at and below it can be followed
    neighbours,    // its children and leaves, and no further
    record         // nothing but its own record
};

/// Sends the ancestor chain and the node's own line as the options ask for them. A subtree that
/// cannot be followed counts for the node's own inode flag alone.
void tn_show_place(const tn *node, uint64_t options, tn_reach reach);

/// The tn command on a node whose subtree can be followed: its place, what its type holds (hint
/// data, bitmaps, children, leaves) and an empty line; with mode 11 the leaves of INTERN and END
/// nodes alone.
void tn_show(const tn *node, uint64_t options, uint64_t mode);

/// The same of a node whose subtree cannot be followed because of the address at `fault`: leaves
/// out what hangs there and names the address, unless it is that of a child array which could not
/// be one anyway.
void tn_show_damaged(const tn *node, uint64_t options, uint64_t mode, uint64_t fault);
