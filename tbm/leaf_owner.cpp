#include "tbm/leaf_owner.h"

#include "reply/refusals.h"
#include "tbm/descent.h"

namespace {

struct owner_search : plain_visitor {
    static constexpr descent_rules rules{.internal_nodes = true};

    const leaf_array *array;
    tn *owner = nullptr;

    way at(tn *node, const tree_place &place, const handed &) {
        if (place.internal) {
            return inode_leaves(node) == array ? found(place.parent) : way::past;
        }
        const bool owns = (tn_is_intern(node) || tn_is_end(node)) && tn_inode_bit(node) != 0;
        return owns && inode_leaves(node) == array ? found(node) : way::down;
    }

private:
    way found(tn *node) {
        owner = node;
        return way::stop;
    }
};

}    // namespace

tn *la_owner_find(const leaf_array *array) {
    owner_search search{{}, array};
    if (tbm_handle_or_report() != nullptr && array != nullptr) {
        tree_descent descent(search);
        descent.from_roots(tbdb_root_of(tbm_handle_current()));
    }
    return search.owner;
}
