#include "tbm/internal_lookup.h"

#include "reply/reply.h"
#include "tbm/access.h"

namespace {

constexpr int longest_length = 5;        // internal prefixes have lengths 0 to 5
constexpr uint32_t longest_base = 31;    // first bitmap position of that length

/// Tries the bitmap position of each length, longest first.
leaf **longest_leaf(const tn *inode, uint32_t prefix, bool narrate) {
    uint32_t base = longest_base;
    const uint64_t bitmap = inode->in_ibmap;
    for (int length = longest_length; length >= 0; --length) {
        const uint32_t position = base + prefix;
        if ((bitmap >> position & 1) != 0) {
            leaf_array *array = inode_leaves(inode);
            const uint32_t offset = bitmap_count_below(bitmap, position);
            if (narrate) {
                plu_debug_printf("match found, i %d, lf offset %d, la %p\n", length, offset,
                                 static_cast<void *>(array));
            }
            return leaf_array_slot(array, offset);
        }
        base /= 2;
        prefix /= 2;
        if (narrate) {
            plu_debug_printf("not match yet, i %d, base_prefix_pos 0x%x, prefix 0x%x\n", length,
                             base, prefix);
        }
    }
    return nullptr;
}

}    // namespace

leaf **tbm_retrieve_leaf_local(const tn *inode, uint32_t prefix) {
    if (inode == nullptr) {
        return nullptr;
    }
    plu_debug_printf("%s inode %p base_prefix_pos 0x%x, prefix 0x%x, max_pref_tree_len %d\n",
                     "tbm_retrieve_leaf_local", static_cast<const void *>(inode), longest_base,
                     prefix, longest_length);
    return longest_leaf(inode, prefix, true);
}

leaf **inode_longest_leaf(const tn *inode, uint32_t prefix) {
    return inode_leaves(inode) == nullptr ? nullptr : longest_leaf(inode, prefix, false);
}
