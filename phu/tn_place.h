// Where a tree node hangs: the first lines of the tn command.
#pragma once

#include <cstdint>

#include "records/tree.h"

/// Option bits of the tn command.
enum tn_option : uint64_t {
    TN_SHOW_PARENT = 1,
    TN_SHOW_INODE_LEAVES = 2,
    TN_SHOW_CHAIN = 4,
    TN_SHOW_ALL_CHILDREN = 8,
};

/// Sends the ancestor chain and the node's own line as the options ask for them.
void tn_show_place(const tn *node, uint64_t options);
