// Lines of the leaves of an array, and the showla command's.
#pragma once

#include "records/tree.h"

/// Sends "  %s\n" with the prefix of the leaf in a slot; a null leaf prints as (null). An
/// unreadable one is named instead.
void tbm_leaf_print(leaf *const *slot);

/// Sends a leaf line for each leaf of an array, as it is when the line goes out.
void leaf_array_print(const leaf_array *array);
