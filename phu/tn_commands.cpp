// The tn and tnwalk commands.
#include "phu/commands.h"
#include "phu/tn_show.h"
#include "reply/refusals.h"
#include "tbm/descent.h"
#include "tbm/hw_index_owner.h"
#include "tbm/start_node.h"

namespace {

/// Shows a subtree in pre-order, internal nodes first; only a line stands for what cannot be read.
struct subtree_show : plain_visitor {
    static constexpr descent_rules rules{.internal_nodes = true, .faults = unreadable::named};

    uint64_t mode;

    static bool admits(const tn *child) {
        return tn_address_valid(reinterpret_cast<uint64_t>(child));
    }
    way at(const tn *node, const tree_place &, const handed &) const {
        tn_show(node, 0, mode);
        return way::down;
    }
};

}    // namespace

void cmd_tn(uint64_t node, uint64_t options, uint64_t mode) {
    if (const tn *shown = typed_node(node); shown != nullptr) {
        tn_show(shown, options, mode);
    }
}

void cmd_tnwalk(uint64_t node, uint64_t mode, uint64_t) {
    if (tn *start = typed_node(node); start != nullptr) {
        const remembered_owners owners;
        subtree_show show{{}, mode == tn_leaves_only ? mode : 0};
        tree_descent descent(show);
        descent.from(start, false);
    }
}
