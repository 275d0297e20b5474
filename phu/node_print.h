// The printed forms of a hardware node.
#pragma once

#include <cstdint>

#include "records/hw_node.h"
#include "records/tree.h"

inline constexpr int hint_label_size = 96;

/// Sends the trace line of a lookup: "SN: ..." or "EN: ...".
void phu_print_search_node(const phu_node &node, uint32_t level, uint32_t hw_index);

/// Sends the display line "HINT SN ...", "HINT SKIP ..." or "HINT EN: ..." ending in the label,
/// after four blanks of their own when `indent` is set.
void phu_print_hint_node(const phu_node &node, const char *label, int indent);

/// Formats "tn: %p hw index: 0x%08x" (node null when none) into `label`.
void hint_label(char (&label)[hint_label_size], const tn *node, uint32_t hw_index);
