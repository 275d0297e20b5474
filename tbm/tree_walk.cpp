#include "tbm/tree_walk.h"

#include "reply/refusals.h"
#include "tbm/descent.h"

namespace {

struct caller : plain_visitor {
    static constexpr descent_rules rules{.internal_nodes = true, .faults = unreadable::named};

    void *state;
    phu_tree_visitor visit;

    way at(tn *node, const tree_place &place, const handed &) const {
        visit(node, state, place.root ? 1 : 0, place.parent);
        return way::down;
    }
};

}    // namespace

void phu_tree_walk(void *state, phu_tree_visitor visitor, tn *start) {
    const tbm_handle_record *handle = tbm_handle_derive_or_report();
    if (handle == nullptr) {
        return;
    }
    caller call{{}, state, visitor};
    tree_descent descent(call);
    descend_tree(descent, tbdb_root_of(handle), start);
}
