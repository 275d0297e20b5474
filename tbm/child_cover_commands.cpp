// The tnbl command: the children of a search node and the internal leaf that covers each.
#include "reply/refusals.h"
#include "reply/reply.h"
#include "reply/text.h"
#include "reply/unreadable.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tbm/internal_lookup.h"
#include "tbm/locate.h"
#include "tbm/start_node.h"

namespace {

/// Lists the first child of each group with the internal leaf that covers the group.
class child_lister {
public:
    explicit child_lister(const tn *node) : node_(node), shift_(tn_group_shift(node)) {
        located_ = tn_locate_children(node, path_);
    }

    void list(uint32_t group, int ordinal) {
        const tn_slot slot = tn_child_slot(node_, group << shift_, shift_ + tbm_stride_bits);
        if (slot.at == nullptr) {
            return;
        }
        plu_debug_printf("child idx %02d (%02d) child_tn %p (%s), longest match for child tn: %s\n",
                         static_cast<int>(group), ordinal, static_cast<const void *>(slot.child),
                         or_null(prefix_of(slot.child, group)), or_null(cover_of(group)));
    }

private:
    static const char *or_null(const char *text) { return text == nullptr ? "(null)" : text; }

    const char *prefix_of(const tn *child, uint32_t group) {
        const bool tree = tbm_handle_or_report() != nullptr;
        return tree && located_ ? tn_path_child_text(path_, child, group) : nullptr;
    }

    /// Text of the internal leaf that covers a group; names one that cannot be read.
    const char *cover_of(uint32_t group) {
        leaf **match = inode_longest_leaf(tn_inode(node_), group / 2);
        const leaf *covering = match == nullptr ? nullptr : current(*match);
        if (covering != nullptr && !readable_memory::holds(covering)) {
            report_unreadable(covering);
            covering = nullptr;
        }
        return covering == nullptr ? nullptr : leaf_text(covering);
    }

    const tn *node_;
    uint32_t shift_;
    tn_path path_;
    bool located_;
};

}    // namespace

void cmd_tnbl(uint64_t node, uint64_t, uint64_t) {
    const tn *shown = typed_node(node);
    if (shown == nullptr) {
        return;
    }
    if (!tn_is_search(shown)) {
        plu_debug_printf("tn %p is not a search node\n", static_cast<const void *>(shown));
        return;
    }
    const child_slots children = tn_child_slots(shown);
    if (children.fault != nullptr) {
        report_unreadable(children.fault);
    }
    const bool counted = children.array != nullptr && children.fault != children.array;
    const uint64_t groups = shown->sn_ebmap;
    plu_debug_printf("ones %d, nnodes %d\n", __builtin_popcountll(groups),
                     counted ? current(children.array->ta_nnodes) : 0);
    if (groups == 0) {
        return;
    }
    child_lister lister(shown);
    int ordinal = 0;
    for (uint64_t left = groups; left != 0; left &= left - 1) {
        lister.list(static_cast<uint32_t>(__builtin_ctzll(left)), ordinal++);
    }
}
