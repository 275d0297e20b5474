// Prefix and hint statistics of the tree.
#pragma once

#include "platform/export.h"
#include "records/tree.h"

/// Prefix lengths of the leaf array that the cntpfx command looked at last. Written on the debug
/// thread.
extern "C" PLU_EXPORT mask128 leaf_mask;
