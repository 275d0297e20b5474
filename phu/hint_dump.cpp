#include "phu/hint_dump.h"

#include "phu/node_print.h"
#include "phu/node_read.h"
#include "records/hw_node.h"
#include "reply/reply.h"
#include "tbm/access.h"
#include "tbm/hw_index_owner.h"

namespace {

void print_copies(const tn *node) {
    const uint32_t sn_type = node->hint_sn_flags & 3;
    if (sn_type == PHU_NODE_SN || sn_type == PHU_NODE_SKIP) {
        const uint64_t word = node->hint_sn_word;
        plu_debug_printf("HINT sn bmsf:%2d me:%d child_array_ptr 0x%x\n", phu_word_bmsf(word),
                         phu_word_me(word), phu_word_c_ptr(word));
        plu_debug_printf("sn bitmap  0x%016lx\n", node->hint_sn_bitmap);
    }
    if ((node->hint_en_flags & 3) == PHU_NODE_EN) {
        plu_debug_printf("h en mask  0x%016lx 0x%016lx\n", phu_load64(node->hint_en_mask + 8),
                         phu_load64(node->hint_en_mask));
    }
}

void print_masks(const tn *node) {
    plu_debug_printf("hint mask  0x%016lx 0x%016lx  (/1 from left most)\n", node->hint_mask.high,
                     node->hint_mask.low);
    const int int_count = node->int_mask_count;
    const int ext_count = node->ext_mask_count;
    if (int_count != 0 || ext_count != 0) {
        plu_debug_printf("h int mask 0x%016lx 0x%016lx  count %d\n", node->int_mask.high,
                         node->int_mask.low, int_count);
        plu_debug_printf("h ext mask 0x%016lx 0x%016lx  count %d\n", node->ext_mask.high,
                         node->ext_mask.low, ext_count);
    }
}

}    // namespace

int phu_hw_node_show(uint32_t hw_index, phu_node &image) {
    if (phu_csr_read_hw_index(hw_index, image) != 0) {
        return 1;
    }
    char label[hint_label_size];
    hint_label(label, phu_find_tn_by_hw_index(hw_index), hw_index);
    phu_print_hint_node(image, label, 0);
    return 0;
}

void tn_hint_dump(const tn *node) {
    const uint32_t hw_index = node->hw_index;
    if (hw_index != 0) {
        phu_node image;
        phu_hw_node_show(hw_index, image);
    }
    plu_debug_printf(
        "HINT state: %6s bmsf:%2d pb_len:%2d offset:%d la:%p nodes:%2d key type:%d hw idx: "
        "0x%08x\n",
        hint_state_str[node->hint_state & 3], node->bmsf, node->par_bl_len, node->par_bl_offset,
        static_cast<const void *>(node->par_bl_larray), node->tn_nodes, node->key_type, hw_index);
    print_copies(node);
    print_masks(node);
}
