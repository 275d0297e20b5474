// The hwidxwalk command: counts the hardware nodes behind the tree.
#include <cstring>

#include "phu/commands.h"
#include "phu/node_read.h"
#include "records/hw_node.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/start_node.h"
#include "tbm/tree_walk.h"

namespace {

constexpr uint64_t mode_dump = 11;
constexpr uint64_t mode_report = 1;
constexpr uint32_t stray_end_nodes_shown = 10;

struct hw_index_counts {
    uint64_t mode;
    uint32_t hw_indexes;
    uint32_t nodes[4];    // by node type
    uint32_t stray_search_copies;
    uint32_t stray_end_copies;
    uint32_t read_errors;
    uint32_t stray_end_lines;
};

bool sn_copy_empty(const tn *node) {
    return (node->hint_sn_bitmap | node->hint_sn_word | node->hint_sn_flags) == 0;
}

bool en_copy_empty(const tn *node) {
    return (phu_load64(node->hint_en_mask) | phu_load64(node->hint_en_mask + 8) |
            node->hint_en_flags) == 0;
}

/// Counts the copies that a node without a hardware node should not hold.
void count_stray_copies(const tn *node, hw_index_counts &counts) {
    const bool report = counts.mode == mode_report;
    if (!sn_copy_empty(node)) {
        ++counts.stray_search_copies;
        if (report) {
            plu_debug_printf("hw index is zero , but phu_sn not zero, tn %p\n",
                             static_cast<const void *>(node));
        }
    }
    if (!en_copy_empty(node)) {
        ++counts.stray_end_copies;
        if (report && counts.stray_end_lines < stray_end_nodes_shown) {
            ++counts.stray_end_lines;
            plu_debug_printf("hw index is zero , but phu_en not zero, tn %p\n",
                             static_cast<const void *>(node));
        }
    }
}

void dump_raw(uint32_t hw_index, const phu_node &image) {
    uint8_t bytes[sizeof image];
    memcpy(bytes, &image, sizeof bytes);
    plu_debug_printf("0x%08x ", hw_index);
    for (size_t i = sizeof bytes; i-- > 0;) {
        plu_debug_printf("%02x", bytes[i]);
    }
    plu_debug_printf("\n");
}

void visit_hw_index(tn *node, hw_index_counts &counts, uint32_t is_root, tn *) {
    if (is_root != 0 && !tn_is_search(node)) {
        return;
    }
    const uint32_t hw_index = node->hw_index;
    if (hw_index == 0) {
        count_stray_copies(node, counts);
        return;
    }
    ++counts.hw_indexes;
    if (node->hint_state == HINT_INIT) {
        return;
    }
    phu_node image;
    if (phu_csr_read_hw_index(hw_index, image) != 0) {
        ++counts.read_errors;
        plu_debug_printf("failed to read hw index 0x%x tn %p\n", hw_index,
                         static_cast<const void *>(node));
        return;
    }
    ++counts.nodes[phu_node_type_of(image)];
    if (counts.mode == mode_dump) {
        dump_raw(hw_index, image);
    }
}

}    // namespace

void cmd_hwidxwalk(uint64_t mode, uint64_t start, uint64_t) {
    const start_node from = typed_start(start);
    if (from.refused) {
        return;
    }
    hw_index_counts counts{};
    counts.mode = mode;
    phu_tree_walk<visit_hw_index>(counts, from.node);
    plu_debug_printf("  hw index count: %d\n", counts.hw_indexes);
    plu_debug_printf("         sn node: %d\n", counts.nodes[PHU_NODE_SN]);
    plu_debug_printf("       skip node: %d\n", counts.nodes[PHU_NODE_SKIP]);
    plu_debug_printf("         en node: %d\n", counts.nodes[PHU_NODE_EN]);
    plu_debug_printf("non zero sn node: %d\n", counts.stray_search_copies);
    plu_debug_printf("non zero en node: %d\n", counts.stray_end_copies);
    plu_debug_printf("      read error: %d\n", counts.read_errors);
}
