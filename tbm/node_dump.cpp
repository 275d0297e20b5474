#include "tbm/node_dump.h"

#include <algorithm>

#include "reply/reply.h"
#include "reply/text.h"
#include "reply/unreadable.h"
#include "tbm/access.h"
#include "tbm/leaf_lines.h"

namespace {

constexpr uint32_t detail_leaves = 1;
constexpr uint32_t detail_children = 2;
constexpr int vrf_bytes = 2;
constexpr int hex_text_size = 2 * static_cast<int>(tbm_key_bytes) + 1;
constexpr int children_per_line = 10;

/// Byte i of the key without its two family bits; bytes behind the key count as 0.
uint8_t shifted_key_byte(const uint8_t *key, int i) {
    const int next = i + 1 < static_cast<int>(tbm_key_bytes) ? key[i + 1] : 0;
    return static_cast<uint8_t>(key[i] << 2 | next >> 6);
}

/// Hexadecimal digits of the first `prefix_bits` address bits, the last digit filled with 0 bits.
void prefix_digits(char (&text)[hex_text_size], const uint8_t *key, int prefix_bits) {
    const int digits = (prefix_bits + 3) / 4;
    for (int i = 0; i < digits; ++i) {
        const uint8_t byte = shifted_key_byte(key, vrf_bytes + i / 2);
        auto digit = static_cast<uint32_t>(i % 2 == 0 ? byte >> 4 : byte & 0xf);
        if (i == digits - 1) {
            digit &= 0xfU << (4 * digits - prefix_bits);
        }
        text[i] = "0123456789abcdef"[digit];
    }
    text[digits] = '\0';
}

void print_header(const tn *node, int key_bits, const uint8_t *key) {
    const int prefix_bits = std::max(key_bits - static_cast<int>(tbm_header_bits), 0);
    char digits[hex_text_size];
    prefix_digits(digits, key, prefix_bits);
    plu_debug_printf(
        "\nNODE type:%7s key_bits_used:%3d vrf:%5d, prefix bits:%2d  0x%s  tn addr: 0x%lx\n",
        tn_type_name(node), key_bits, shifted_key_byte(key, 0) << 8 | shifted_key_byte(key, 1),
        prefix_bits, digits, reinterpret_cast<uint64_t>(node));
}

void print_hint_data(const tn *node) {
    plu_debug_printf(
        "hint_state: %10s bmsf:%2d par bl larray %p, len %d offset %d, inode:%d hw index 0x%08x\n",
        hint_state_str[std::min<int>(node->hint_state, hint_states - 1)], node->bmsf,
        static_cast<void *>(node->par_bl_larray), node->par_bl_len, node->par_bl_offset,
        static_cast<int>(tn_inode_bit(node)), node->hw_index);
    if (node->int_mask_count != 0 || node->ext_mask_count != 0) {
        plu_debug_printf(
            "  int mask 0x%016lx 0x%016lx  int mask count %d\n"
            "  ext mask 0x%016lx 0x%016lx  ext mask count %d\n",
            node->int_mask.high, node->int_mask.low, node->int_mask_count, node->ext_mask.high,
            node->ext_mask.low, node->ext_mask_count);
    }
    plu_debug_printf("  hintmask 0x%016lx 0x%016lx (1 from left most)\n", node->hint_mask.high,
                     node->hint_mask.low);
}

void print_child_indexes(const tn *node) {
    const child_slots listed = tn_child_slots(node);
    if (listed.fault != nullptr) {
        report_unreadable(listed.fault);
    }
    if (listed.array == nullptr || listed.fault == listed.array) {
        return;
    }
    const int count = current(listed.array->ta_nnodes);
    plu_debug_printf("child array nodes: %d, inodes exists: %d children hw index:\n", count,
                     current(listed.array->ta_inode_exists));
    if (count == 0) {
        return;
    }
    for (int i = 0;; ++i) {
        const child_slots children = tn_child_slots(node);
        if (i >= children.end - children.first) {
            break;
        }
        const tn *child = readable_node(children.nodes[children.first + i]);
        plu_debug_printf("0x%x ", child == nullptr ? 0 : child->hw_index);
        if (i % children_per_line == children_per_line - 1) {
            plu_debug_printf("\n");
        }
    }
    plu_debug_printf("\n");
}

void print_children(const tn *node) {
    if (tn_is_end(node) || tn_is_intern(node)) {
        return;
    }
    if (!tn_is_search(node)) {
        plu_debug_printf("node type not handled:%d\n", static_cast<int>(tn_type_of(node)));
        return;
    }
    if (const leaf_array *parent_leaves = node->par_bl_larray; parent_leaves != nullptr) {
        plu_debug_printf("SN tn_par_larray %d par_bl_offset %d, par bl len %d\n",
                         leaf_array_count(parent_leaves), node->par_bl_offset, node->par_bl_len);
    }
    plu_debug_printf("  sn_ebmap 0x%016lx\n", node->sn_ebmap);
    plu_debug_printf("hint_ebmap 0x%016lx\n", node->hint_ebmap);
    print_child_indexes(node);
}

}    // namespace

void tbm_node_dump(const tn *node, int key_bits, const uint8_t *key, uint32_t detail) {
    if (key_bits > static_cast<int>(tbm_key_bits_max)) {
        plu_debug_printf("invalide key bits used %d\n", key_bits);
        return;
    }
    print_header(node, key_bits, key);
    print_hint_data(node);
    if ((detail & detail_leaves) != 0 && tn_is_search(node)) {
        leaf_array_print(inode_leaves(tn_inode(node)));
    }
    if ((detail & detail_children) != 0) {
        print_children(node);
    }
}
