#include "phu/node_print.h"

#include <cstdio>

#include "records/hw_node.h"
#include "reply/reply.h"

void phu_print_search_node(const phu_node &node, uint32_t level, uint32_t hw_index) {
    if (!phu_node_branches(node)) {
        plu_debug_printf("EN: masks: 0x%016lx %016lx level:%d hw_index: 0x%08x\n",
                         phu_node_high(node), phu_node_low(node), level, hw_index);
        return;
    }
    const uint64_t word = phu_node_high(node);
    const phu_child_block children = phu_c_ptr_decode(phu_word_c_ptr(word));
    plu_debug_printf(
        "SN: ext_bitmap: 0x%016lx level:%d bank:%2d node_id:%4d me:%d bmsf:%2d c_ptr 0x%05x "
        "hw_index: 0x%08x\n",
        phu_ext_bitmap(node), level, children.bank_id, children.first_node, phu_word_me(word),
        phu_word_bmsf(word), phu_word_c_ptr(word), hw_index);
}

void phu_print_hint_node(const phu_node &node, const char *label, int indent) {
    if (indent != 0) {
        plu_debug_printf("    ");
    }
    const uint64_t word = phu_node_high(node);
    switch (phu_node_type_of(node)) {
        case PHU_NODE_SKIP:
            plu_debug_printf(
                "HINT SKIP  ebitmap: 0x%016lx, ptr:0x%x, bmsf:%d, me:%d  skip_len %d "
                "skip_pattern: 0x%x %s\n",
                phu_ext_bitmap(node), phu_word_c_ptr(word), phu_word_bmsf(word), phu_word_me(word),
                phu_word_skip_len(word), phu_word_skip_pattern(word), label);
            break;
        case PHU_NODE_SN:
            plu_debug_printf("HINT SN   ebitmap: 0x%016lx, ptr:0x%x, bmsf:%d, me:%d  %s\n",
                             phu_ext_bitmap(node), phu_word_c_ptr(word), phu_word_bmsf(word),
                             phu_word_me(word), label);
            break;
        default:
            plu_debug_printf("HINT EN:  0x%016lx %016lx  %s\n", phu_node_high(node),
                             phu_node_low(node), label);
    }
}

void hint_label(char (&label)[hint_label_size], const tn *node, uint32_t hw_index) {
    snprintf(label, sizeof label, "tn: %p hw index: 0x%08x", static_cast<const void *>(node),
             hw_index);
}
