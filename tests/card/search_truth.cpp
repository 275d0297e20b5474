#include "tests/card/search_truth.h"

#include <gtest/gtest.h>

#include <random>

#include "simcard/mirror_fields.h"
#include "tbm/commands.h"
#include "tbm/key.h"
#include "tests/support/text.h"

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

/// What the command's result line says of a match.
std::string result_text(const simcard::Key &address, uint32_t bits) {
    if (bits == 0) {
        return "prefix len 0 (0)  prefix NULL\n";
    }
    return format("prefix len %u (%u)  prefix %s\n", bits, bits - tbm_header_bits,
                  prefix_text(front_of(address, bits)).c_str());
}

/// The reply of v4 or v6 for an address.
std::string search_reply(const simcard::Key &address) {
    pfx_entry entry;
    tbm_key_to_pfx_entry(entry, address.bytes, address.bits);
    return asked(entry, cmd_v4, cmd_v6);
}

/// An address in a present prefix, or anywhere in its VRF, or in a VRF of its neighbourhood.
simcard::Key some_address(simcard::Key key, int i, std::mt19937_64 &random) {
    const uint32_t width = key.ipv6() ? 146 : 50;
    const uint32_t from = i % 8 == 0   ? tbm_header_bits - 3
                          : i % 4 == 0 ? tbm_header_bits
                                       : key.bits;
    for (uint32_t bit = from; bit < width; ++bit) {
        if (random() % 2 == 0) {
            flip_bit(key, bit);
        }
    }
    key.bits = width;
    return key;
}

}    // namespace

Tally compare_with_longest_match(const TableModel &model, int probes) {
    std::mt19937_64 random(71);
    std::vector<simcard::Key> keys[2][2];    // IPv4, IPv6; VRF 0, others
    for (const auto &[key, entry] : model.entries()) {
        keys[key.ipv6() ? 1 : 0][vrf_of(key) != 0 ? 1 : 0].push_back(key);
    }
    Tally tally;
    for (int i = 0; i < 2 * probes; ++i) {
        const auto &some = keys[i % 2][i / 2 % 3 == 0 ? 1 : 0];
        const simcard::Key address = some_address(some[random() % some.size()], i / 2, random);
        const uint32_t truth = model.longest_match(address).bits;
        const std::string reply = search_reply(address);
        tally.errors += reply.find("ERR PHU") != std::string::npos ? 1 : 0;
        if (reply.find(result_text(address, truth)) != std::string::npos) {
            ++tally.exact;
            continue;
        }
        uint32_t shorter = truth;
        while (--shorter > 0 && reply.find(result_text(address, shorter)) == std::string::npos) {
        }
        ++tally.shorter;
        EXPECT_TRUE(ends_below_an_unhinted_child(address)) << prefix_text(address) << reply;
        EXPECT_TRUE(shorter == 0 || model.entries().count(front_of(address, shorter)) == 1)
            << reply;
    }
    return tally;
}
