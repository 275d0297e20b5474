// The banksum and bankbitmap commands: use of the banks of node memory.
#include "phu/banks.h"
#include "phu/commands.h"
#include "phu/hint_dump.h"
#include "records/hw_node.h"
#include "reply/reply.h"
#include "shm/contexts.h"

namespace {

constexpr uint32_t bitmap_rows_min = 4;

struct bank_bitmap_text {
    char text[phu_banks + 1];
};

/// One character per bank, the highest bank on the left.
bank_bitmap_text bank_bitmap_str(uint64_t bank_bitmap) {
    bank_bitmap_text result{};
    for (uint32_t bank_id = 0; bank_id < phu_banks; ++bank_id) {
        result.text[phu_banks - 1 - bank_id] = phu_bank_bit(bank_bitmap, bank_id) ? '#' : '_';
    }
    return result;
}

void print_node_bitmap(const phu_bank_record &bank, uint32_t words) {
    while (words > bitmap_rows_min && bank.node_bitmap[words - 1] == 0) {
        --words;
    }
    for (uint32_t row = 0; row < words; ++row) {
        char text[64 + 1] = "";
        for (uint32_t bit = 0; bit < 64; ++bit) {
            text[bit] = phu_node_in_use(bank, row * 64 + bit) ? '#' : '_';
        }
        plu_debug_printf("%4d %s\n", row * 64, text);
    }
}

}    // namespace

void cmd_banksum(uint64_t, uint64_t, uint64_t) {
    for (const phu_bank_record &bank : phu_ctx->bank) {
        const int used = bank.node_used;
        const int level = bank.stride_level;
        if (used != 0 || level != phu_no_level) {
            plu_debug_printf(
                "bank %02d  size %d  node used %4d  stride level %3d  bitmap size %d\n",
                bank.bank_id, bank.bank_size, used, level, bank.bitmap_size);
        }
    }
    plu_debug_printf(
        "\n                                        109876543210987654321098765432109876543210\n");
    uint64_t sum = 0;
    for (const phu_stride_record &stride : phu_ctx->stride) {
        const int bank_used = stride.bank_used;
        const uint64_t bitmap = stride.bank_bitmap;
        if (bank_used != 0 || bitmap != 0) {
            plu_debug_printf("stride level %2d bitmap: 0x%012lX  %s  bank_used %d\n", stride.level,
                             bitmap, bank_bitmap_str(bitmap).text, bank_used);
            sum |= bitmap;
        }
    }
    plu_debug_printf("SUM        bank bitmap: 0x%012lX  %s\n", sum, bank_bitmap_str(sum).text);
}

void cmd_bankbitmap(uint64_t bank_id, uint64_t item, uint64_t allow_item_0) {
    if (bank_id >= uint64_t{phu_banks}) {
        plu_debug_printf("invalid bank id %ld\n", static_cast<int64_t>(bank_id));
        return;
    }
    plu_debug_printf("bank %d bitmap\n", static_cast<int>(bank_id));
    const phu_bank_record &bank = phu_ctx->bank[bank_id];
    const auto node = static_cast<int64_t>(item);
    if (int64_t{bank.bitmap_size} * 64 > node && (node > 0 || allow_item_0 == 1)) {
        phu_node image;
        phu_hw_node_show(
            hw_index_make(0, static_cast<uint32_t>(bank_id), static_cast<uint32_t>(item)), image);
        return;
    }
    print_node_bitmap(bank, phu_bitmap_words(bank));
}
