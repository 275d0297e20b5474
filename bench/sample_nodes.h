// The records on which the heavy single commands are measured.
#pragma once

#include "records/tree.h"

struct sample_nodes {
    tn *most_children = nullptr;           // search node below the roots
    tn *most_hinted_children = nullptr;    // at least two levels below the roots
    leaf_array *last_leaf_array = nullptr;
};

/// The last of equals in walk order, which is the worst for a command that searches the tree.
sample_nodes pick_sample_nodes(const tree_array &root);
