#include "tbm/subtree_count.h"

#include <algorithm>

#include "tbm/descent.h"

namespace {

struct counter : plain_visitor {
    static constexpr descent_rules rules{};

    counted_subtree known;
    uint32_t count = 0;

    way at(const tn *node, const tree_place &, const handed &) {
        if (node == known.node) {
            count += known.count;
            return way::past;
        }
        count += tn_inode_bit(node);
        return way::down;
    }
    bool into(tn *, const tree_place &, const handed &, const child_slots &children, kept &) {
        count += static_cast<uint32_t>(std::max(children.end - children.first, 0));
        return true;
    }
};

}    // namespace

void tn_subtree_count(const tn *node, uint32_t &count, const counted_subtree &known) {
    counter counting{{}, known};
    tree_descent descent(counting);
    descent.from(const_cast<tn *>(node), false);
    count += counting.count;
}
