// Verifies, for every node that refers to a best covering leaf, that the leaf array belongs to the
// internal node of one of its ancestors and that the offset lies inside; for end nodes also that
// the leaf's prefix length is the one kept with the reference. Facts used: the leaf arrays met on
// the way down. It cannot see: whether the leaf really covers the node or is the longest that does,
// the length kept by a search node, a node that refers to nothing, and internal nodes.
#include "checks/parent_leaf_check.h"

#include "checks/child_prefetch.h"
#include "checks/commands.h"
#include "checks/tree_facts.h"
#include "debug_channel/contexts.h"
#include "debug_channel/readable.h"
#include "debug_channel/reply.h"
#include "tbm/access.h"

extern "C" {
leaf_array *parent_la[parent_la_entries] = {};
int32_t parent_la_high_water_mark = 0;
}

namespace {

inline constexpr uint32_t end_lines_max = 10;
inline constexpr uint32_t search_lines_max = 10;

/// A node's reference and the leaf count of its array, read once.
struct reference {
    const leaf_array *array;
    int offset;
    int kept_length;
    bool on_stack;
    int nnodes;

    reference(const tn *node, int32_t index)
        : array(node->par_bl_larray),
          offset(node->par_bl_offset),
          kept_length(node->par_bl_len),
          on_stack(parent_la_contains(array, index) != 0),
          nnodes(on_stack || can_read(array, sizeof *array, alignof(leaf_array)) ? array->la_nnodes
                                                                                 : 0) {}

    /// The leaf referred to; null when the offset is outside, the slot is empty or what lies there
    /// cannot be read.
    [[nodiscard]] const leaf *target() const {
        leaf *const *slots = offset >= nnodes ? nullptr : array->la_leaves;
        if (slots == nullptr ||
            (!on_stack && !can_read(slots + offset, sizeof(void *), alignof(void *)))) {
            return nullptr;
        }
        const leaf *found = slots[offset];
        return on_stack || can_read(found, sizeof *found, alignof(leaf)) ? found : nullptr;
    }

private:
    /// An array that no ancestor owns is followed only after a question to the kernel.
    static bool can_read(const void *record, size_t size, size_t alignment) {
        const auto address = reinterpret_cast<uint64_t>(record);
        return address != 0 && address % alignment == 0 && address_readable(address, size);
    }
};

void report_end(const tn *node, int32_t index, const reference &ref, int leaf_length) {
    plu_debug_printf(
        "par bl invalid tn %p, parent_la_index %d par bl la %p offset %d len %d, nnodes %d leaf "
        "pfx len %d\n",
        static_cast<const void *>(node), index, static_cast<const void *>(ref.array), ref.offset,
        ref.kept_length, ref.nnodes, leaf_length);
    for (int32_t j = index - 1; j >= 0; --j) {
        plu_debug_printf("  parent la (%d) %p\n", j, static_cast<const void *>(parent_la[j]));
    }
}

void check_end(const tn *node, int32_t index, parbl_check_stats &stats) {
    ++stats.end_nodes;
    const reference ref(node, index);
    if (ref.array == nullptr) {
        return;
    }
    const leaf *target = ref.target();
    const int leaf_length =
        target == nullptr ? 0 : target->key_bits_used - static_cast<int>(tbm_header_bits);
    if (target != nullptr && ref.on_stack && leaf_length == ref.kept_length) {
        ++stats.valid;
        return;
    }
    ++stats.invalid;
    ++stats.invalid_end;
    if (stats.end_shown++ < end_lines_max) {
        report_end(node, index, ref, leaf_length);
    }
}

void check_search(const tn *node, int32_t index, parbl_check_stats &stats) {
    ++stats.search_nodes;
    const reference ref(node, index);
    if (ref.array == nullptr) {
        return;
    }
    const bool inside = ref.offset < ref.nnodes;
    if (inside && ref.on_stack) {
        ++stats.valid;
        return;
    }
    ++stats.invalid;
    stats.invalid_offset += inside ? 0 : 1;
    if (stats.search_shown++ < search_lines_max) {
        plu_debug_printf(
            "par bl invalid for tn %p, parent_la_index %d par bl la %p nnodes %d, offset %d\n",
            static_cast<const void *>(node), index, static_cast<const void *>(ref.array),
            ref.nnodes, ref.offset);
    }
}

/// Puts the leaf array of a search node's internal node on the stack; returns the children's index,
/// or -1 when the stack is full.
int32_t push_inode_leaves(const tn *node, int32_t index) {
    if (index >= parent_la_index_max) {
        plu_debug_printf("parent_la_index reached max at tn %p, stop searching tn child\n",
                         static_cast<const void *>(node));
        return -1;
    }
    parent_la[index] = inode_leaves(tn_inode(node));
    if (parent_la_high_water_mark <= index) {
        parent_la_high_water_mark = index + 1;
    }
    return index + 1;
}

void check_children(const tn *node, int32_t index, parbl_check_stats &stats, int level) {
    const int32_t child_index = tn_inode_bit(node) == 0 ? index : push_inode_leaves(node, index);
    if (child_index < 0) {
        return;
    }
    const child_slots children = tn_child_slots(node);
    for (int slot = children.first; slot < children.end && !stats.guard.stopped; ++slot) {
        prefetch_next_child(children, slot);
        if (const tn *child = children.nodes[slot]; child != nullptr) {
            parbl_check_tn(child, child_index, stats, level + 1);
        }
    }
}

void print_summary(const parbl_check_stats &stats) {
    plu_debug_printf("\nResults of checking par bl:\n");
    const struct {
        const char *label;
        uint32_t count;
    } lines[] = {
        {"  tn nodes:           ", stats.nodes},
        {"  tn end nodes:       ", stats.end_nodes},
        {"  search nodes:       ", stats.search_nodes},
        {"  valid par bl:       ", stats.valid},
        {"  INVALID par bl:     ", stats.invalid},
        {"  INVALID end par bl: ", stats.invalid_end},
        {"  INVALID offset:     ", stats.invalid_offset},
        {"  unknown tn nodes:   ", stats.unknown_nodes},
        {"  la_high_water_mark: ", static_cast<uint32_t>(parent_la_high_water_mark)},
    };
    for (const auto &line : lines) {
        plu_debug_printf("%s%7d\n", line.label, static_cast<int32_t>(line.count));
    }
}

}    // namespace

int parent_la_contains(const leaf_array *array, int32_t parent_la_index) {
    if (parent_la_index > parent_la_index_max || array == nullptr) {
        return 0;
    }
    for (int32_t j = parent_la_index - 1; j >= 0; --j) {
        if (parent_la[j] == array) {
            return 1;
        }
    }
    return 0;
}

void parbl_check_tn(const tn *node, int32_t parent_la_index, parbl_check_stats &stats, int level) {
    if (!stats.guard.enter(level, node)) {
        return;
    }
    ++stats.nodes;
    if (tn_is_end(node)) {
        check_end(node, parent_la_index, stats);
    } else if (tn_is_search(node)) {
        check_search(node, parent_la_index, stats);
        check_children(node, parent_la_index, stats, level);
    } else {
        ++stats.unknown_nodes;
    }
}

void cmd_ckparbl(uint64_t /*a1*/, uint64_t /*a2*/, uint64_t /*a3*/) {
    parbl_check_stats stats{};
    parent_la_high_water_mark = 0;
    const tbm_handle_record *handle = tbm_handle_derive();
    if (handle == nullptr) {
        plu_debug_printf("NULL tbm_handle\n");
        return;
    }
    const tree_array *root = tbdb_root_of(handle);
    for (int slot = 0; root != nullptr && slot < root->ta_nnodes; ++slot) {
        if (const tn *node = root->ta_nodes[slot]; node != nullptr) {
            parbl_check_tn(node, 0, stats, 0);
        }
    }
    print_summary(stats);
}
