// Verifies three relations of the stored masks, node by node: (inode+child) a hint mask is the
// lengths of the own internal leaves and the hint masks of all children; (int+ext+ebmap) for a
// hinted node the same set is its internal mask, the external masks along its hint subtree and the
// hint masks of the children reached through hint search nodes; (inode & parent) the lengths of an
// internal node are its parent's internal mask and all in its parent's hint mask. Facts used: the
// leaves' lengths and the stored masks. It cannot see: the roots, default prefixes (length 0 has no
// position), which prefix a length comes from, the stored node copies and the hardware itself.
// Every node hands its masks up, so that each record is read once; the nodes shown are then the
// first ones in the order of the walk.
#include "checks/hint_mask_check.h"

#include <algorithm>

#include "checks/commands.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "tbm/descent.h"
#include "tbm/start_node.h"
#include "tbm/subtree_count.h"
#include "tbm/tree_walk.h"

namespace {

constexpr int int_ext_lines_max = 4;
constexpr int inode_child_lines_max = 3;

/// A disagreement as it was read.
struct finding {
    uint32_t sequence;    // of the node in the order of the walk
    const tn *node;
    uint8_t bmsf;
    mask128 inode_child;    // what the hint mask should be
    mask128 hint_mask;
    mask128 int_mask;
    mask128 ext_mask;
};

/// The first few findings in the order of the walk, which hands them in in another one.
template <int size>
struct first_findings {
    finding list[size];
    int count = 0;

    void add(const finding &found) {
        if (count == size && found.sequence > list[size - 1].sequence) {
            return;
        }
        finding *end = list + std::min(count, size - 1);
        finding *at = std::find_if(
            list, end, [&](const finding &other) { return other.sequence > found.sequence; });
        std::copy_backward(at, end, end + 1);
        *at = found;
        count = std::min(count + 1, size);
    }
};

bool has_hint(const tn *node) {
    return node->hint_state != HINT_INIT;
}

/// What a node gathers from below.
struct gathered {
    uint32_t sequence;
    bool root;
    bool hinted;            // reached through hint search nodes from the one above
    gathered *above;        // null for a root and for the start
    mask128 inode_child;    // internal leaves and all children
    mask128 hinted_children;
    mask128 external;    // external masks along the hint subtree
};

/// Adds the external masks of a child's hint subtree to those of the node above it.
void hint_ext_mask_union(const gathered &child) {
    if (child.above != nullptr && child.hinted) {
        child.above->external |= child.external;
    }
}

struct ckhmask_check_tn {
    static constexpr descent_rules rules{
        .internal_nodes = true, .prefetch = true, .faults = unreadable::named};
    struct handed {
        gathered *above = nullptr;
        uint64_t group = 0;     // of the child, one bit of sn_ebmap
        uint64_t hinted = 0;    // groups that are reached through hint search nodes
    };
    struct kept : gathered {
        uint64_t hint_ebmap;
    };

    hmask_check_stats stats{};
    first_findings<int_ext_lines_max> int_ext;
    first_findings<inode_child_lines_max> inode_child;
    uint32_t visited = 0;

    way at(const tn *node, const tree_place &place, const handed &from_above) {
        ++visited;
        mask128 leaves{};
        if (place.internal || tn_is_end(node) || tn_is_intern(node)) {
            leaves = leaf_array_length_mask(inode_leaves(node), unreadable::named);
        }
        if (place.internal) {
            from_above.above->inode_child |= leaves;
        } else if (from_above.above != nullptr) {
            const mask128 mask = node->hint_mask;
            from_above.above->inode_child |= mask;
            if ((from_above.group & from_above.hinted) != 0) {
                from_above.above->hinted_children |= mask;
            }
        }
        if (tn_is_search(node) || place.root) {
            return way::down;    // checked when all below it has been gathered
        }
        if (place.parent != nullptr && tn_is_intern(node)) {
            check_internal_node(leaves, place.parent);
        } else {
            gathered own{};
            own.sequence = visited;
            own.inode_child = tn_is_end(node) ? leaves : mask128{};
            check_node(node, own);
        }
        return way::down;
    }

    bool into(const tn *node, const tree_place &place, const handed &from_above,
              const child_slots &, kept &own) const {
        own = {};
        own.sequence = visited;
        own.root = place.root;
        own.above = from_above.above;
        own.hinted = (from_above.group & from_above.hinted) != 0;
        own.hint_ebmap = node->hint_ebmap;
        return true;
    }

    static handed below(kept &own, int position) {
        return {&own, position < 0 ? 0 : uint64_t{1} << position, own.hint_ebmap};
    }

    void leave(const tn *node, kept &own) {
        if (has_hint(node)) {
            own.external |= node->ext_mask;
            hint_ext_mask_union(own);
        }
        if (!own.root) {
            check_node(node, own);
        }
    }

private:
    void check_internal_node(const mask128 &lengths, const tn *parent) {
        if (!parent->hint_mask.contains(lengths)) {
            ++stats.inode_pfx_not_in_hint;
        }
        if (parent->int_mask == lengths) {
            ++stats.inode_parent_match;
        } else if (has_hint(parent)) {
            ++stats.inode_parent_mismatch;
        }
    }

    void check_node(const tn *node, const gathered &own) {
        const finding seen{own.sequence,    node,           node->bmsf,    own.inode_child,
                           node->hint_mask, node->int_mask, node->ext_mask};
        if (has_hint(node)) {
            if (seen.inode_child == (own.hinted_children | own.external | seen.int_mask)) {
                ++stats.int_ext_ebmap_match;
            } else {
                ++stats.int_ext_ebmap_mismatch;
                int_ext.add(seen);
            }
        }
        if (seen.inode_child == seen.hint_mask) {
            ++stats.inode_child_match;
        } else {
            ++stats.inode_child_mismatch;
            inode_child.add(seen);
        }
    }
};

void print_int_ext(const finding &found) {
    uint32_t below = 0;
    tn_subtree_count(found.node, below);
    plu_debug_printf(
        "mismatch: bmsf %d tn %p child:%d\n  hint_mask 0x%016lx %016lx \ntn int mask 0x%016lx "
        "%016lx\ntn ext mask 0x%016lx %016lx\n\n",
        int{found.bmsf}, static_cast<const void *>(found.node), static_cast<int>(below),
        found.inode_child.low, found.inode_child.high, found.int_mask.low, found.int_mask.high,
        found.ext_mask.low, found.ext_mask.high);
}

void print_inode_child(const finding &found) {
    plu_debug_printf("mismatch: hint_mask 0x%016lx %016lx tn hmask 0x%016lx %016lx, tn %p\n",
                     found.inode_child.low, found.inode_child.high, found.hint_mask.low,
                     found.hint_mask.high, static_cast<const void *>(found.node));
}

/// In the order of the walk; of one node the masks first.
void print_findings(const ckhmask_check_tn &check) {
    int masks = 0;
    int children = 0;
    while (masks < check.int_ext.count || children < check.inode_child.count) {
        const bool mask_next =
            masks < check.int_ext.count &&
            (children == check.inode_child.count ||
             check.int_ext.list[masks].sequence <= check.inode_child.list[children].sequence);
        if (mask_next) {
            print_int_ext(check.int_ext.list[masks++]);
        } else {
            print_inode_child(check.inode_child.list[children++]);
        }
    }
}

void print_summary(const hmask_check_stats &stats) {
    const auto shown = [](uint32_t count) { return static_cast<int32_t>(count); };
    plu_debug_printf("Results of checking hint mask:\n");
    plu_debug_printf("  inode+child match: %d\n  inode+child MISMATCH: %d\n",
                     shown(stats.inode_child_match), shown(stats.inode_child_mismatch));
    plu_debug_printf("  int+ext+ebmap match: %d \n  int+ext+ebmap MISMATCH: %d\n",
                     shown(stats.int_ext_ebmap_match), shown(stats.int_ext_ebmap_mismatch));
    plu_debug_printf(
        "  inode & parent int mask match: %d \n  inode & parent int mask MISMATCH: %d\n"
        "  inode pfx not in hint_mask: %d\n",
        shown(stats.inode_parent_match), shown(stats.inode_parent_mismatch),
        shown(stats.inode_pfx_not_in_hint));
}

}    // namespace

void cmd_ckhmask(uint64_t start, uint64_t /*a2*/, uint64_t /*a3*/) {
    const start_node from = announced_start(start);
    if (from.refused) {
        return;
    }
    ckhmask_check_tn check;
    tree_descent descent(check);
    if (const tbm_handle_record *handle = tbm_handle_derive_or_report(); handle != nullptr) {
        descend_tree(descent, tbdb_root_of(handle), from.node);
    }
    print_findings(check);
    print_summary(check.stats);
}
