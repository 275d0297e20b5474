// The ckbank command. Verifies the bank table, the stride level table and the bank bitmap against
// each other, then every tree node's hardware index against the banks, and the node behind it
// against the tree node: the first search nodes' bmsf and bitmap, every end node's mask. It cannot
// see nodes in use that no tree node names, nor anything of the root bank's record.
#include "phu/banks.h"
#include "phu/commands.h"
#include "phu/node_read.h"
#include "records/hw_node.h"
#include "reply/reply.h"
#include "shm/contexts.h"
#include "tbm/access.h"
#include "tbm/tree_walk.h"

namespace {

constexpr int checked_banks = 41;    // without the root bank
constexpr int mask_counts = 128;     // a full mask counts under 0
constexpr uint32_t invalid_index_lines = 9;
constexpr uint32_t mask_mismatch_lines = 10;
constexpr uint32_t search_nodes_compared = 10;

int ones(uint64_t bitmap) {
    return __builtin_popcountll(bitmap);
}

void check_bank_records(bool detail) {
    int sum = 0;
    for (int b = 0; b < checked_banks; ++b) {
        const phu_bank_record &bank = phu_ctx->bank[b];
        const int nodes = phu_bank_nodes(b);
        const int bank_id = bank.bank_id;
        const int bank_size = bank.bank_size;
        const int bitmap_size = bank.bitmap_size;
        if (bank_id != b) {
            plu_debug_printf("ERR: bank id %d doesn't match bank location index %d\n", bank_id, b);
        }
        if (bitmap_size != nodes / 64 || bank_size != nodes) {
            plu_debug_printf("ERR: bank %d has incorrect bank_size: %d or bitmap size %d\n", b,
                             bank_size, bitmap_size);
        }
        if (detail) {
            plu_debug_printf("index %d bank id %d, stride level %d bank size %d bitmap size %d\n",
                             b, bank_id, bank.stride_level, bank_size, bitmap_size);
        }
        sum += bank.node_used;
    }
    if (detail) {
        plu_debug_printf("phu bank node used %d, sum of bank node used %d\n",
                         phu_ctx->bank_node_used, sum);
    }
}

void check_node_bitmaps() {
    for (int b = 0; b < checked_banks; ++b) {
        const phu_bank_record &bank = phu_ctx->bank[b];
        const int used = bank.node_used;
        const auto nodes = static_cast<uint32_t>(phu_bank_nodes(b));
        const auto counted = static_cast<int>(bit_count_below(bank.node_bitmap, nodes));
        if (counted != used) {
            plu_debug_printf("ERR: bank %d node used %d doens't match node_bitmap ones %d\n", b,
                             used, counted);
        }
    }
}

void check_level_bank(int level, int b, bool detail) {
    const int bank_level = phu_ctx->bank[b].stride_level;
    if (detail) {
        plu_debug_printf("info: phu_stride %d bitmap bit %d phu_bank[%d] stride level %d\n", level,
                         b, b, bank_level);
    }
    if (bank_level != level) {
        plu_debug_printf(
            "ERR: phu_stride %d bitmap bit %d mismatch with phu_bank[%d] stride level %d\n", level,
            b, b, bank_level);
    }
}

/// Returns the number of banks that the level's entry claims.
int check_stride_level(int level, bool detail) {
    const phu_stride_record &stride = phu_ctx->stride[level];
    const uint64_t bitmap = stride.bank_bitmap;
    const uint64_t all_banks = phu_ctx->bank_bitmap;
    const int bank_used = stride.bank_used;
    if (detail && (bitmap & ~all_banks) != 0) {
        plu_debug_printf(
            "phu_stride %d bank_bitmap 0x%016lx doesn't match phu_ctx bank_bitmap 0x%016lx \n",
            level, bitmap, all_banks);
    }
    for (int b = 0; b < checked_banks; ++b) {
        if (phu_bank_bit(bitmap, static_cast<uint32_t>(b))) {
            check_level_bank(level, b, detail);
        }
    }
    if (detail && bitmap != 0) {
        plu_debug_printf("bank_stride %d, level %d, bank used %d bitmap ones %d 0x%016lx\n", level,
                         stride.level, bank_used, ones(bitmap), bitmap);
    }
    return bank_used;
}

void check_stride_levels(bool detail) {
    int sum = 0;
    for (int level = 1; level < phu_stride_levels; ++level) {
        sum += check_stride_level(level, detail);
    }
    const int assigned = ones(phu_ctx->bank_bitmap) - 2;
    if (detail) {
        plu_debug_printf(
            "stride bank used sum %d, phu_ctx bank_bitmap ones %d (exluced bank 40, 41)\n", sum,
            assigned);
    }
    if (assigned != sum) {
        plu_debug_printf(
            "ERR: phu_ctx bank_bitmap ones (%d) doesn't match phu_stride[].bank_used %d\n",
            assigned, sum);
    }
}

struct bank_check_counts {
    uint32_t hw_indexes;
    uint32_t end_nodes;
    uint32_t search_nodes;
    uint32_t skip_nodes;
    uint32_t mask_mismatches;
    uint32_t invalid_indexes;
    uint32_t by_mask_count[mask_counts];
};

bool index_in_banks(uint32_t hw_index) {
    const uint32_t bank_id = hw_index_bank(hw_index);
    const uint32_t node_id = hw_index_node(hw_index);
    if (bank_id >= uint32_t{phu_banks} || !phu_bank_bit(phu_ctx->bank_bitmap, bank_id)) {
        return false;
    }
    const phu_bank_record &bank = phu_ctx->bank[bank_id];
    return node_id < bank.bank_size && phu_node_in_use(bank, node_id);
}

bool check_hw_index(const tn *node, uint32_t hw_index, bank_check_counts &counts) {
    if (!index_in_banks(hw_index)) {
        if (++counts.invalid_indexes <= invalid_index_lines) {
            plu_debug_printf("invalid bank id %d or node id %d found for hw index 0x%x tn %p\n",
                             hw_index_bank(hw_index), hw_index_node(hw_index), hw_index,
                             static_cast<const void *>(node));
        }
        return false;
    }
    const uint32_t level = hw_index_level(hw_index);
    if (level >= uint32_t{phu_stride_levels} || phu_ctx->stride[level].level != level) {
        plu_debug_printf("invalid level %d found for hw index 0x%x tn %p\n", level, hw_index,
                         static_cast<const void *>(node));
        return false;
    }
    return true;
}

void check_search_node(const tn *node, uint32_t hw_index, const phu_node &image,
                       bank_check_counts &counts) {
    if (++counts.search_nodes > search_nodes_compared) {
        return;
    }
    if (phu_word_bmsf(phu_node_high(image)) != node->bmsf ||
        phu_ext_bitmap(image) != node->hint_ebmap) {
        plu_debug_printf("ERR: hint sn mismatch for tn %p hw index 0x%x\n",
                         static_cast<const void *>(node), hw_index);
    }
}

void check_end_node(const tn *node, uint32_t hw_index, const phu_node &image,
                    bank_check_counts &counts) {
    ++counts.end_nodes;
    ++counts.by_mask_count[phu_mask_ones(image) % mask_counts];
    const mask128 expected = tn_expected_mask(node);
    const auto image_v4 = static_cast<uint32_t>(phu_node_low(image));
    const auto expected_v4 = static_cast<uint32_t>(expected.high >> 32);
    const bool v6 = node->key_type != 0;
    if (v6 ? phu_mask_bitmap(image) == expected : image_v4 == expected_v4) {
        return;
    }
    if (++counts.mask_mismatches > mask_mismatch_lines) {
        return;
    }
    if (v6) {
        plu_debug_printf("ERR: hint en mask mismatch for tn %p hw index 0x%x\n",
                         static_cast<const void *>(node), hw_index);
    } else {
        plu_debug_printf(
            "ERR: hint en mask mismatch for tn %p hw index 0x%x\n  en->mask_bitmap 0x%08x "
            "hint_mask 0x%08x\n",
            static_cast<const void *>(node), hw_index, image_v4, expected_v4);
    }
}

void check_tree_node(tn *node, bank_check_counts &counts, uint32_t, tn *) {
    const uint32_t hw_index = node->hw_index;
    if (tn_is_intern(node) || hw_index == 0) {
        return;
    }
    ++counts.hw_indexes;
    phu_node image;
    if (!check_hw_index(node, hw_index, counts) || phu_csr_read_hw_index(hw_index, image) != 0) {
        return;
    }
    switch (phu_node_type_of(image)) {
        case PHU_NODE_SKIP:
            ++counts.skip_nodes;
            plu_debug_printf("node type: %d tn %p\n", PHU_NODE_SKIP,
                             static_cast<const void *>(node));
            break;
        case PHU_NODE_SN:
            check_search_node(node, hw_index, image, counts);
            break;
        case PHU_NODE_EN:
            check_end_node(node, hw_index, image, counts);
            break;
        default:
            break;
    }
}

void print_results(const bank_check_counts &counts, bool detail) {
    plu_debug_printf("Results of checking PHU banks:\n");
    plu_debug_printf(
        "  hw index count:         %d \n  INVALID hw index count: %d\n  en mask MISMATCH      : "
        "%d\n  sn entry count:         %d \n  en entry count:         %d\n  skip entry count:      "
        " "
        "%d\n",
        counts.hw_indexes, counts.invalid_indexes, counts.mask_mismatches, counts.search_nodes,
        counts.end_nodes, counts.skip_nodes);
    if (!detail) {
        return;
    }
    plu_debug_printf("mask count    en node count\n");
    for (int m = 0; m < mask_counts; ++m) {
        if (counts.by_mask_count[m] != 0) {
            plu_debug_printf("%4d         %7d\n", m, counts.by_mask_count[m]);
        }
    }
}

}    // namespace

void cmd_ckbank(uint64_t detail, uint64_t, uint64_t) {
    const bool detailed = detail != 0;
    check_bank_records(detailed);
    check_node_bitmaps();
    check_stride_levels(detailed);
    bank_check_counts counts{};
    phu_tree_walk<check_tree_node>(counts, nullptr);
    print_results(counts, detailed);
}
