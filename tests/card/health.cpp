#include "tests/card/health.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "checks/commands.h"
#include "phu/commands.h"
#include "simcard/mirror_fields.h"
#include "simcard/table_file.h"
#include "tbm/commands.h"
#include "tbm/key.h"
#include "tbm/tree_walk.h"
#include "tests/card/powered_card.h"
#include "tests/support/text.h"

namespace {

/// Every prefix was found but those of at most `unmatchable` bits.
void expect_lookup_clean(const std::string &text, const TableModel &model, uint32_t unmatchable) {
    const auto total = static_cast<long>(model.entries().size());
    long short_ones = 0;
    for (const auto &[key, entry] : model.entries()) {
        short_ones += key.bits <= tbm_header_bits + unmatchable ? 1 : 0;
    }
    const long missed = number_after(text, "prefix     no match:");
    EXPECT_EQ(number_after(text, "total        prefix:"), total);
    EXPECT_EQ(number_after(text, "prefix        match:") +
                  number_after(text, "prefix longer match:") + missed,
              total);
    EXPECT_LE(missed, short_ones);
    for (size_t at = text.find("lookup missed:"); at != std::string::npos;
         at = text.find("lookup missed:", at + 1)) {
        const std::string line = text.substr(at, text.find('\n', at) - at);
        EXPECT_LE(std::stoul(line.substr(line.rfind('/') + 1)), unmatchable) << line;
    }
}

void count_match_end(tn *node, size_t &match_ends, uint32_t, tn *) {
    match_ends += node->hint_state == HINT_SEARCH_END ? 1 : 0;
}

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

void expect_healthy(const TableModel &model) {
    const std::string text = reply_of(cmd_ckall, 1);
    for (const char *label :
         {"bmsf MISMATCH:", "INVALID hw index count:", "en mask MISMATCH      :",
          "inode+child MISMATCH:", "int+ext+ebmap MISMATCH:", "inode & parent int mask MISMATCH:",
          "inode pfx not in hint_mask:", "INVALID par bl:", "INVALID end par bl:",
          "INVALID offset:", "unknown tn nodes:", "lf lookup MISMATCH:"}) {
        EXPECT_EQ(number_after(text, label), 0) << label << "\n" << text;
    }
    for (const char *word : {"ERR", "mismatch:", "doesn't match", "invalid", "failed"}) {
        EXPECT_EQ(text.find(word), std::string::npos) << text.substr(text.find(word), 200);
    }
    expect_lookup_clean(text, model, 0);
    // Length 1 is the last one tried, and a longer match of its address is then forgotten.
    expect_lookup_clean(reply_of(cmd_cklkuphw), model, 1);
}

void expect_sums_agree() {
    const phu_context &phu = *phu_ctx;
    const std::string summary = reply_of(cmd_banksum);
    const std::string walk = reply_of(cmd_hwidxwalk);
    const std::string spread = reply_of(cmd_hwdis);
    const std::string check = reply_of(cmd_ckbank);
    const std::string dump = reply_of(cmd_dump);
    const std::string tree = reply_of(cmd_walk);
    long used = 0;
    for (size_t at = summary.find("node used "); at != std::string::npos;
         at = summary.find("node used ", at + 1)) {
        used += std::stol(summary.substr(at + 10));
    }
    const long roots = phu.bank[phu_root_bank].node_used;
    EXPECT_EQ(used - roots, number_after(dump, "bank node used:"));

    const long sn = number_after(walk, "         sn node:");
    const long en = number_after(walk, "         en node:");
    EXPECT_EQ(sn + en, number_after(walk, "hw index count:"));
    EXPECT_EQ(sn, number_after(check, "sn entry count:"));
    EXPECT_EQ(en, number_after(check, "en entry count:"));
    EXPECT_EQ(sn, number_after(spread, "total PHU search nodes:"));
    EXPECT_EQ(en, number_after(spread, "total PHU    end nodes:"));
    const long hinted = number_after(tree, "hint nodes:");    // but those with too many masks
    EXPECT_LE(hinted, sn + en);
    EXPECT_GE(hinted + number_after(tree, "ncfm_nodes"), sn + en);
    EXPECT_EQ(number_after(walk, "non zero sn node:"), 0);
    EXPECT_EQ(number_after(walk, "non zero en node:"), 0);

    // Every node in use is a tree node's own node or the match-end node of one in SEARCH_END.
    size_t match_ends = 0;
    phu_tree_walk<count_match_end>(match_ends, nullptr);
    EXPECT_EQ(used, sn + en + static_cast<long>(match_ends) +
                        static_cast<long>(simcard::Card::instance().banks().waiting()));
}

void expect_hardware_names_match(const simcard::Key &key, const pfx_entry &entry) {
    const std::string text = asked(entry, cmd_v4hw, cmd_v6hw);
    ASSERT_EQ(occurrences(text, "rc = 0x0 hint_mask 0x"), 1U) << text;
    const size_t at = text.find("hint_mask 0x") + 12;
    mask128 mask{std::stoull(text.substr(at, 16), nullptr, 16), 0};
    if (key.ipv6()) {
        mask = {std::stoull(text.substr(at + 17, 16), nullptr, 16), mask.low};
    }
    const leaf *match =
        simcard::Card::instance().search(key).best;    // of the prefix's own address
    ASSERT_GE(match->key_bits_used, key.bits);
    const uint32_t bit = (key.ipv6() ? 146U : 50U) - match->key_bits_used;
    EXPECT_NE((bit >= 64 ? mask.high : mask.low) >> (bit % 64) & 1, 0U) << prefix_text(key) << text;
}

std::vector<pfx_entry> expect_recorded(const TableModel &model) {
    std::vector<pfx_entry> recorded;
    std::set<simcard::Key> keys;
    for (const std::string &line : pieces_of(cmd_walk, 11)) {
        const simcard::TableLine parsed =
            simcard::parse_table_line(std::string_view(line).substr(0, line.size() - 1));
        EXPECT_EQ(parsed.kind, simcard::TableLine::prefix) << line;
        const simcard::Key key = *simcard::key_of(parsed.entry);
        EXPECT_TRUE(keys.insert(key).second && model.entries().count(key) == 1) << line;
        recorded.push_back(parsed.entry);
    }
    EXPECT_EQ(recorded.size(), model.entries().size());
    return recorded;
}

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
