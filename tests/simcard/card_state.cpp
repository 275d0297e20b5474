#include "tests/simcard/card_state.h"

#include <gtest/gtest.h>

#include <set>

#include "simcard/mirror_fields.h"

using namespace simcard;

Card &fresh_card(uint8_t mask_limit) {
    CardOptions options;
    options.mask_limit = mask_limit;
    EXPECT_TRUE(Card::instance().power_on(options));
    return Card::instance();
}

namespace {

void collect(const tn *node, std::vector<uint32_t> &path, CardState &all) {
    mask128 end_copy{phu_load64(node->hint_en_mask), phu_load64(node->hint_en_mask + 8)};
    all[path] = {node->tn_flags & 0xffffU,
                 node->hint_state,
                 node->bmsf,
                 node->par_bl_larray == nullptr ? 999U : node->par_bl_len,
                 node->ext_mask_count,
                 node->int_mask_count,
                 phu_word_me(node->hint_sn_word),
                 node->ext_mask,
                 node->int_mask,
                 node->hint_mask,
                 end_copy,
                 node->hint_ebmap};
    for (uint64_t left = is_search(node) ? node->sn_ebmap : 0; left != 0; left &= left - 1) {
        const auto group = static_cast<uint32_t>(__builtin_ctzll(left));
        path.push_back(group);
        collect(child_at(node, group), path, all);
        path.pop_back();
    }
}

}    // namespace

CardState state_of(Card &card) {
    CardState all;
    for (uint32_t slot = 0; slot < 4096; ++slot) {
        if (const tn *node = card.fixed().root.ta_nodes[slot]; node != nullptr) {
            std::vector<uint32_t> path{slot};
            collect(node, path, all);
        }
    }
    return all;
}

void expect_hardware_sound(Card &card) {
    std::set<uint32_t> places;
    const phu_context &phu = card.fixed().plu.phu;
    const auto expect_image = [&](uint32_t index, const uint8_t *copy, uint32_t level) {
        phu_node image{};
        ASSERT_EQ(card.chip().read_index(index, &image), 0);
        EXPECT_EQ(memcmp(&image, copy, sizeof image), 0) << std::hex << index;
        EXPECT_TRUE(places.insert(index & 0xffffff).second) << std::hex << index;
        EXPECT_EQ(hw_index_level(index), level);
        const uint32_t node = hw_index_node(index);
        const phu_bank_record &bank = phu.bank[hw_index_bank(index)];
        EXPECT_EQ(bank.stride_level, level);
        EXPECT_NE(bank.node_bitmap[node / 64] >> (node % 64) & 1, 0U);
    };
    const auto visit = [&](auto &&self, const tn *node, uint32_t level) -> void {
        const auto *bytes = reinterpret_cast<const uint8_t *>(node);
        const uint8_t *search_copy = bytes + offsetof(tn, hint_sn_bitmap);
        const uint8_t *end_copy = bytes + offsetof(tn, hint_en_mask);
        if (node->hint_state == HINT_INIT) {
            EXPECT_EQ(node->hw_index, 0U);
        } else {
            expect_image(node->hw_index, node->hint_state == HINT_END ? end_copy : search_copy,
                         level);
        }
        if (node->hint_state == HINT_SEARCH_END) {
            expect_image(node->en_hw_index, end_copy, level + 1);
        }
        for (uint64_t left = is_search(node) ? node->sn_ebmap : 0; left != 0; left &= left - 1) {
            self(self, child_at(node, static_cast<uint32_t>(__builtin_ctzll(left))), level + 1);
        }
    };
    for (int slot = 0; slot < 4096; ++slot) {
        if (const tn *node = card.fixed().root.ta_nodes[slot]; node != nullptr) {
            visit(visit, node, 0);
        }
    }
    uint32_t in_use = 0;
    for (const phu_bank_record &bank : phu.bank) {
        in_use += bank.node_used;
    }
    EXPECT_EQ(in_use, places.size() + card.banks().waiting());
}
