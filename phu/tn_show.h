// What the node commands print of one node.
#pragma once

#include <cstdint>

#include "records/tree.h"

inline constexpr uint64_t tn_leaves_only = 11;    // mode of tn and tnwalk

/// Sends the part that depends on the node's type: hint data, bitmaps, children and leaves; with
/// `leaves_only` the leaves of INTERN and END nodes alone.
void tn_show_content(const tn *node, uint64_t options, bool leaves_only);

/// Place (unless the mode asks for leaves only), content and an empty line: the tn command on a
/// node that is known to be readable.
void tn_show(const tn *node, uint64_t options, uint64_t mode);
