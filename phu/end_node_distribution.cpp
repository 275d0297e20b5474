// The hwdis command: how many mask bits the end nodes carry, by hint state.
#include "phu/commands.h"
#include "phu/node_read.h"
#include "records/hw_node.h"
#include "reply/reply.h"
#include "tbm/access.h"
#include "tbm/tree_walk.h"

namespace {

constexpr int mask_rows = 128;    // a full mask counts in row 0
constexpr int state_columns = 4;

struct end_node_counts {
    uint32_t by_mask[mask_rows][state_columns];
    uint32_t search_nodes;
    uint32_t skip_nodes;

    [[nodiscard]] uint32_t row_sum(int row) const {
        const uint32_t(&cells)[state_columns] = by_mask[row];
        return cells[0] + cells[1] + cells[2] + cells[3];
    }
};

void count_hw_node(tn *node, end_node_counts &counts, uint32_t, tn *) {
    const uint32_t hw_index = node->hw_index;
    if (tn_is_intern(node) || hw_index == 0) {
        return;
    }
    const uint8_t hint_state = node->hint_state;
    if (hint_state == HINT_INIT) {
        plu_debug_printf("skip hint state INIT for tn %p\n", static_cast<const void *>(node));
        return;
    }
    phu_node image;
    if (phu_csr_read_hw_index(hw_index, image) != 0) {
        plu_debug_printf("failed to read tn %p hwindex 0x%x\n", static_cast<const void *>(node),
                         hw_index);
        return;
    }
    switch (phu_node_type_of(image)) {
        case PHU_NODE_SN:
            ++counts.search_nodes;
            break;
        case PHU_NODE_SKIP:
            ++counts.skip_nodes;
            break;
        case PHU_NODE_EN:
            ++counts.by_mask[phu_mask_ones(image) % mask_rows][hint_state & 3];
            break;
        default:
            break;
    }
}

}    // namespace

void cmd_hwdis(uint64_t, uint64_t, uint64_t) {
    end_node_counts counts{};
    phu_tree_walk<count_hw_node>(counts, nullptr);
    int rows = mask_rows;
    while (rows > 0 && counts.row_sum(rows - 1) == 0) {
        --rows;
    }
    plu_debug_printf("hw en node mask count distribution\n");
    plu_debug_printf(" index     sum   INIT    SEARCH SCH_END END\n");
    uint32_t total = 0;
    for (int row = 0; row < rows; ++row) {
        const uint32_t(&cells)[state_columns] = counts.by_mask[row];
        const uint32_t sum = counts.row_sum(row);
        plu_debug_printf("  %3d   %6d %6d  %6d %6d %6d\n", row, sum, cells[0], cells[1], cells[2],
                         cells[3]);
        total += sum;
    }
    plu_debug_printf("total PHU    end nodes: %d\n", total);
    plu_debug_printf("total PHU   skip nodes: %d\n", counts.skip_nodes);
    plu_debug_printf("total PHU search nodes: %d\n", counts.search_nodes);
}
