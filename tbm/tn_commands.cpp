#include "debug_channel/contexts.h"
#include "debug_channel/reply.h"
#include "debug_channel/text.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tbm/depth_guard.h"
#include "tbm/locate.h"
#include "tbm/operator_node.h"
#include "tbm/readable_records.h"
#include "tbm/search.h"
#include "tbm/tn_show.h"

namespace {

/// The node of a command's argument, null after the line that refuses it.
tn *node_argument(uint64_t address) {
    return tn_address_valid(address) ? operator_node(address) : nullptr;
}

/// Shows a subtree in pre-order, internal nodes first; only a line stands for what cannot be read.
struct subtree_show {
    uint64_t mode;
    depth_guard guard;
    readable_records memory;

    void visit(const tn *node, int level) {
        if (!guard.enter(level, node)) {
            return;
        }
        tn_show(node, 0, mode);
        // Showing a node may wait for the client: what hangs here is asked for anew at every slot.
        for (int slot = 0; tn_is_search(node) && !guard.stopped && followable(node); ++slot) {
            const child_slots children = tn_child_slots(node);
            if (slot >= children.end) {
                return;
            }
            const tn *child = children.nodes[slot];
            if (child == nullptr || !tn_address_valid(reinterpret_cast<uint64_t>(child))) {
                continue;
            }
            if (memory.holds(child)) {
                visit(child, level + 1);
            } else {
                report_not_readable(memory.fault());
            }
        }
    }

    /// In the other mode the node's own lines have told of an array that cannot be read.
    bool followable(const tn *node) {
        return mode == tn_leaves_only ? operator_children_readable(node) : memory.child_array(node);
    }
};

/// Lists the first child of each group with the internal leaf that covers the group.
class child_lister {
public:
    explicit child_lister(const tn *node) : node_(node), shift_(tn_group_shift(node)) {
        located_ = tn_locate_children(node, path_);
    }

    void list(uint32_t group, int ordinal) {
        const child_slots children = tn_child_slots(node_);
        const int slot = (ordinal << shift_) + children.first;
        if (children.nodes == nullptr || slot >= children.end) {
            return;
        }
        const tn *child = children.nodes[slot];
        const tn *inode = tn_inode(node_);
        leaf **match = memory_.node(inode) ? inode_longest_leaf(inode, group / 2) : nullptr;
        const leaf *covering = match != nullptr && memory_.holds(*match) ? *match : nullptr;
        plu_debug_printf("child idx %02d (%02d) child_tn %p (%s), longest match for child tn: %s\n",
                         static_cast<int>(group), ordinal, static_cast<const void *>(child),
                         or_null(prefix_of(child, group)),
                         covering == nullptr ? or_null(nullptr) : leaf_text(covering));
    }

private:
    static const char *or_null(const char *text) { return text == nullptr ? "(null)" : text; }

    const char *prefix_of(const tn *child, uint32_t group) {
        const bool tree = tbm_handle_or_report() != nullptr;
        return tree && located_ ? tn_path_child_text(path_, child, group) : nullptr;
    }

    const tn *node_;
    readable_records memory_;
    uint32_t shift_;
    tn_path path_;
    bool located_;
};

}    // namespace

void cmd_tn(uint64_t node, uint64_t options, uint64_t mode) {
    if (const tn *shown = node_argument(node); shown != nullptr) {
        tn_show(shown, options, mode);
    }
}

void cmd_tnwalk(uint64_t node, uint64_t mode, uint64_t) {
    if (const tn *start = node_argument(node); start != nullptr) {
        subtree_show show{mode == tn_leaves_only ? mode : 0, {}, {}};
        show.visit(start, 0);
    }
}

void cmd_tnbl(uint64_t node, uint64_t, uint64_t) {
    const tn *shown = node_argument(node);
    if (shown == nullptr) {
        return;
    }
    if (!tn_is_search(shown)) {
        plu_debug_printf("tn %p is not a search node\n", static_cast<const void *>(shown));
        return;
    }
    if (!operator_children_readable(shown)) {
        return;
    }
    const uint64_t groups = shown->sn_ebmap;
    plu_debug_printf("ones %d, nnodes %d\n", __builtin_popcountll(groups), tn_child_count(shown));
    if (groups == 0) {
        return;
    }
    child_lister lister(shown);
    int ordinal = 0;
    for (uint64_t left = groups; left != 0; left &= left - 1) {
        lister.list(static_cast<uint32_t>(__builtin_ctzll(left)), ordinal++);
    }
}
