// The hwidxr command: one hardware node with its parent and children.
#include "phu/banks.h"
#include "phu/commands.h"
#include "phu/node_print.h"
#include "phu/node_read.h"
#include "records/hw_node.h"
#include "reply/refusals.h"
#include "reply/reply.h"
#include "shm/contexts.h"
#include "tbm/hw_index_owner.h"

namespace {

constexpr uint32_t parent_banks = 41;    // the root bank is not searched
constexpr uint32_t children_counted_min = 5;

bool owns_child(const phu_node &node, uint32_t bank_id, uint32_t node_id) {
    if (!phu_node_branches(node)) {
        return false;
    }
    const phu_child_block block = phu_c_ptr_decode(phu_word_c_ptr(phu_node_high(node)));
    return block.bank_id == bank_id && node_id >= block.first_node &&
           node_id - block.first_node < phu_child_count(node);
}

void show_parent(const phu_node &parent, uint32_t hw_index) {
    plu_debug_printf("Parent: ");
    char label[hint_label_size];
    hint_label(label, phu_find_tn_by_hw_index(hw_index), hw_index);
    phu_print_hint_node(parent, label, 0);
}

/// Searches the nodes in use of one bank; false when the search is over.
bool search_bank(uint32_t bank_id, uint32_t level, uint32_t child_hw_index) {
    const phu_bank_record &bank = phu_ctx->bank[bank_id];
    const uint32_t nodes = 64 * phu_bitmap_words(bank);
    for (uint32_t node_id = 0; node_id < nodes; ++node_id) {
        if (!phu_node_in_use(bank, node_id)) {
            continue;
        }
        phu_node node;
        if (phu_csr_read_node(bank_id, node_id, node) != 0) {
            plu_debug_printf("failed to read sn/en node on for bank %d node %d\n", bank_id,
                             node_id);
            return false;
        }
        if (owns_child(node, hw_index_bank(child_hw_index), hw_index_node(child_hw_index))) {
            show_parent(node, hw_index_make(level, bank_id, node_id));
            return false;
        }
    }
    return true;
}

void search_parent(uint32_t hw_index, uint32_t stride_level) {
    const uint32_t level = stride_level - 1;
    if (stride_level == 0 || level >= uint32_t{phu_stride_levels} ||
        phu_ctx->stride[level].bank_used == 0) {
        return;
    }
    const uint64_t banks = phu_ctx->stride[level].bank_bitmap;
    for (uint32_t bank_id = 0; bank_id < parent_banks; ++bank_id) {
        if (phu_bank_bit(banks, bank_id) && !search_bank(bank_id, level, hw_index)) {
            return;
        }
    }
}

/// A missing tree is said once per label.
void print_owned_node(const phu_node &node, const tn *owner, uint32_t hw_index, int indent) {
    char label[hint_label_size];
    hint_label(label, tbm_handle_or_report() == nullptr ? nullptr : owner, hw_index);
    phu_print_hint_node(node, label, indent);
}

/// The hardware nodes below a node; none below one that does not branch.
struct child_nodes {
    phu_child_block block;
    hw_index_range indexes;
};

child_nodes child_nodes_of(const phu_node &node, uint32_t stride_level, tn **owners) {
    if (!phu_node_branches(node)) {
        return {{}, {0, 0, owners}};
    }
    const phu_child_block block = phu_c_ptr_decode(phu_word_c_ptr(phu_node_high(node)));
    const uint32_t first = hw_index_make(stride_level + 1, block.bank_id, block.first_node);
    return {block, {first, phu_child_count(node), owners}};
}

void show_children(const child_nodes &children) {
    const hw_index_range &indexes = children.indexes;
    if (indexes.count >= children_counted_min) {
        plu_debug_printf("  %d children nodes\n", indexes.count);
    }
    for (uint32_t i = 0; i < indexes.count; ++i) {
        phu_node child;
        if (phu_csr_read_node(children.block.bank_id, children.block.first_node + i, child) != 0) {
            return;
        }
        print_owned_node(child, indexes.owners[i], indexes.first + i, 1);
    }
}

}    // namespace

void cmd_hwidxr(uint64_t hw_index, uint64_t option, uint64_t) {
    const auto index = static_cast<uint32_t>(hw_index);
    const uint32_t bank_id = hw_index_bank(index);
    if (bank_id >= uint32_t{phu_banks}) {
        plu_debug_printf("invalid bank id %ld\n", int64_t{bank_id});
        return;
    }
    const uint32_t stride_level = phu_ctx->bank[bank_id].stride_level;
    phu_node image;
    if (phu_csr_read_hw_index(index, image) != 0) {
        return;
    }
    const auto choice = static_cast<int64_t>(option);
    const bool children_wanted = choice > 0 && choice % 10 == 1;
    // One pass over the tree finds the owners of the node and of its children.
    tn *owner = nullptr;
    tn *child_owners[phu_children_max];
    const child_nodes children = child_nodes_of(image, stride_level, child_owners);
    const hw_index_range wanted[] = {{index, 1, &owner}, children.indexes};
    phu_find_owners(std::span(wanted, children_wanted ? 2 : 1));
    print_owned_node(image, owner, index, 0);
    if (choice >= 10 && choice <= 19) {
        search_parent(index, stride_level);
    }
    if (children_wanted) {
        show_children(children);
    }
}
