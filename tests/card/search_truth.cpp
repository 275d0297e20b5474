#include "tests/card/search_truth.h"

#include <gtest/gtest.h>

#include <random>

#include "simcard/mirror_fields.h"

namespace {

/// True when the walk to an address ends below a node one of whose children had to stay unhinted.
bool ends_below_an_unhinted_child(const simcard::Key &key) {
    const tn *node = phu_ctx->tbm_handle->tbdb_root->ta_nodes[key.root_slot()];
    bool below = false;
    for (uint32_t depth = tbm_root_bits; node != nullptr; depth += tbm_stride_bits) {
        below = below || simcard::unhinted_children(node) != 0;
        const uint32_t chunk = key.chunk(depth);
        node = simcard::is_search(node) && (node->sn_ebmap >> chunk & 1) != 0
                   ? simcard::child_at(node, chunk)
                   : nullptr;
    }
    return below;
}

}    // namespace

tbm_search_result searched(const simcard::Key &key, std::string &text) {
    tbm_search_result result{};
    text = captured([&] { tbm_search_hint(phu_ctx->tbm_handle, key.bytes, result); });
    return result;
}

Tally compare_with_longest_match(simcard::Card &card, const TableModel &model, int probes) {
    std::mt19937_64 random(71);
    std::vector<simcard::Key> keys;
    for (const auto &[key, entry] : model.entries()) {
        keys.push_back(key);
    }
    Tally tally;
    for (int i = 0; i < probes; ++i) {
        simcard::Key key = keys[random() % keys.size()];
        const uint32_t width = key.ipv6() ? 146 : 50;
        const uint32_t from = i % 4 == 0 ? tbm_header_bits : key.bits;    // outside and inside
        for (uint32_t bit = from; bit < width; ++bit) {
            if (random() % 2 == 0) {
                key.bytes[bit / 8] ^= static_cast<uint8_t>(0x80 >> (bit % 8));
            }
        }
        key.bits = width;
        std::string text;
        const leaf *best = searched(key, text).best;
        const leaf *truth = card.search(key).best;
        ++tally.searched;
        tally.errors += text.find("ERR PHU") != std::string::npos ? 1 : 0;
        if (best != truth) {
            ++tally.shorter;
            EXPECT_TRUE(ends_below_an_unhinted_child(key)) << prefix_text(key) << text;
            EXPECT_LT(best == nullptr ? 0 : best->key_bits_used, truth->key_bits_used);
        }
    }
    return tally;
}
