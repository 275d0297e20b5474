// Finds the node that owns a leaf array.
#pragma once

#include "records/tree.h"

/// Owner of a leaf array: the SEARCH node whose internal node holds it, or the END or INTERN node
/// that owns it itself; null when there is none. Without a tree sends "NULL tbm_handle\n". One pass
/// over the tree at most.
tn *la_owner_find(const leaf_array *array);
