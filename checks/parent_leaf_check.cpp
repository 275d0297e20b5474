// Verifies, for every node that refers to a best covering leaf, that the leaf array belongs to the
// internal node of one of its ancestors and that the offset lies inside; for end nodes also that
// the leaf's prefix length is the one kept with the reference. Facts used: the leaf arrays met on
// the way down. It cannot see: whether the leaf really covers the node or is the longest that does,
// the length kept by a search node, a node that refers to nothing, and internal nodes.
#include "checks/parent_leaf_check.h"

#include "checks/commands.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "shm/contexts.h"
#include "tbm/descent.h"

extern "C" {
leaf_array *parent_la[parent_la_entries] = {};
int32_t parent_la_high_water_mark = 0;
}

namespace {

constexpr uint32_t end_lines_max = 10;
constexpr uint32_t search_lines_max = 10;

/// Counts of one run.
struct parbl_check_stats {
    uint32_t nodes;
    uint32_t end_nodes;
    uint32_t search_nodes;
    uint32_t unknown_nodes;
    uint32_t valid;
    uint32_t invalid;
    uint32_t invalid_end;
    uint32_t invalid_offset;
    uint32_t search_shown;    // invalid references of search nodes, for limiting their lines
    uint32_t end_shown;       // the same of end nodes
};

/// A node's reference and the leaf count of its array, read once. An array that cannot be read has
/// no leaves.
struct reference {
    const leaf_array *array;
    int offset;
    int kept_length;
    bool on_stack;
    int nnodes = 0;

    reference(const tn *node, int32_t index)
        : array(node->par_bl_larray),
          offset(node->par_bl_offset),
          kept_length(node->par_bl_len),
          on_stack(parent_la_contains(array, index) != 0) {
        if (array != nullptr) {
            look_at_array();
        }
    }

    /// The leaf referred to; null when the offset is outside, the slot is empty or what lies there
    /// cannot be read.
    [[nodiscard]] const leaf *target() const {
        if (offset >= nnodes || leaves_ == nullptr ||
            (!asked_ && !readable_memory::holds(leaves_ + offset))) {
            return nullptr;
        }
        const leaf *found = current(leaves_[offset]);
        if (found != nullptr && !readable_memory::holds(found)) {
            report_unreadable(found);
            return nullptr;
        }
        return found;
    }

private:
    void look_at_array() {
        if (!readable_memory::holds(array)) {
            report_unreadable(array);
            return;
        }
        nnodes = current(array->la_nnodes);
        leaves_ = current(array->la_leaves);
        asked_ = leaves_ != nullptr && nnodes > 0 && nnodes <= readable_memory::slots_max;
        if (asked_ && !readable_memory::holds_slots(leaves_, nnodes)) {
            report_unreadable(leaves_);
            nnodes = 0;
        }
    }

    leaf **leaves_ = nullptr;
    bool asked_ = false;    // for all slots
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
int32_t push_inode_leaves(const tn *node, const child_slots &children, int32_t index) {
    if (index >= parent_la_index_max) {
        plu_debug_printf("parent_la_index reached max at tn %p, stop searching tn child\n",
                         static_cast<const void *>(node));
        return -1;
    }
    leaf_array *array = inode_leaves(slot_0_inode_named(node, children));
    if (array != nullptr && !readable_memory::holds(array)) {
        report_unreadable(array);    // it explains why no reference below is valid
    }
    parent_la[index] = array;
    if (parent_la_high_water_mark <= index) {
        parent_la_high_water_mark = index + 1;
    }
    return index + 1;
}

struct parbl_check_tn {
    static constexpr descent_rules rules{.prefetch = true, .faults = unreadable::named};
    using handed = int32_t;    // depth of the stack
    using kept = int32_t;

    parbl_check_stats stats{};

    [[gnu::always_inline]] way at(const tn *node, const tree_place &, handed index) {
        ++stats.nodes;
        if (tn_is_end(node)) {
            check_end(node, index, stats);
        } else if (tn_is_search(node)) {
            check_search(node, index, stats);
        } else {
            ++stats.unknown_nodes;
        }
        return way::down;
    }
    static bool into(const tn *node, const tree_place &, handed index, const child_slots &children,
                     kept &own) {
        own = tn_inode_bit(node) == 0 ? index : push_inode_leaves(node, children, index);
        return own >= 0;
    }
    static handed below(const kept &own, int) { return own; }
};

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

void cmd_ckparbl(uint64_t /*a1*/, uint64_t /*a2*/, uint64_t /*a3*/) {
    parent_la_high_water_mark = 0;
    const tbm_handle_record *handle = tbm_handle_derive_or_report();
    if (handle == nullptr) {
        return;
    }
    parbl_check_tn check;
    tree_descent descent(check);
    descent.from_roots(tbdb_root_of(handle));
    print_summary(check.stats);
}
