#include "tests/card/health.h"

#include <gtest/gtest.h>

#include "checks/commands.h"
#include "phu/commands.h"
#include "phu/tree_walk.h"
#include "tests/card/powered_card.h"

namespace {

size_t count_of(const std::string &text, const std::string &word) {
    size_t count = 0;
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        ++count;
    }
    return count;
}

/// Raw request arguments of a prefix.
struct Arguments {
    uint64_t a1, a2, a3;
    bool v6;
};

Arguments arguments_of(const pfx_entry &entry) {
    const auto vrf = static_cast<uint64_t>(entry.vrf[0] << 8 | entry.vrf[1]);
    uint64_t high = 0;
    uint64_t low = 0;
    for (int i = 0; i < 8; ++i) {
        high = high << 8 | entry.address[i];
        low = low << 8 | entry.address[8 + i];
    }
    if (entry.type == PFX_IPV6) {
        return {high, low, 1000 * vrf + entry.length(), true};
    }
    return {high >> 32, entry.length(), vrf, false};
}

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

}    // namespace

void expect_healthy(const TableModel &model) {
    const std::string text = captured([] { cmd_ckall(1, 0, 0); });
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
    expect_lookup_clean(captured([] { cmd_cklkuphw(0, 0, 0); }), model, 1);
}

void expect_sums_agree() {
    const phu_context &phu = *phu_ctx;
    const std::string summary = captured([] { cmd_banksum(0, 0, 0); });
    const std::string walk = captured([] { cmd_hwidxwalk(0, 0, 0); });
    const std::string spread = captured([] { cmd_hwdis(0, 0, 0); });
    const std::string check = captured([] { cmd_ckbank(0, 0, 0); });
    const std::string dump = captured([] { cmd_dump(0, 0, 0); });
    const std::string tree = captured([] { cmd_walk(0, 0, 0); });
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
    struct count {
        static void visit(tn *node, void *state, uint32_t, tn *) {
            *static_cast<size_t *>(state) += node->hint_state == HINT_SEARCH_END ? 1 : 0;
        }
    };
    phu_tree_walk(&match_ends, count::visit, nullptr);
    EXPECT_EQ(used, sn + en + static_cast<long>(match_ends) +
                        static_cast<long>(simcard::Card::instance().banks().waiting()));
}

void expect_hardware_names_match(const simcard::Key &key, const pfx_entry &entry) {
    const Arguments a = arguments_of(entry);
    const std::string text =
        captured([&] { a.v6 ? cmd_v6hw(a.a1, a.a2, a.a3) : cmd_v4hw(a.a1, a.a2, a.a3); });
    ASSERT_EQ(count_of(text, "rc = 0x0 hint_mask 0x"), 1U) << text;
    const size_t at = text.find("hint_mask 0x") + 12;
    mask128 mask{std::stoull(text.substr(at, 16), nullptr, 16), 0};
    if (a.v6) {
        mask = {std::stoull(text.substr(at + 17, 16), nullptr, 16), mask.low};
    }
    const leaf *match =
        simcard::Card::instance().search(key).best;    // of the prefix's own address
    ASSERT_GE(match->key_bits_used, key.bits);
    const uint32_t bit = (a.v6 ? 146U : 50U) - match->key_bits_used;
    EXPECT_NE((bit >= 64 ? mask.high : mask.low) >> (bit % 64) & 1, 0U) << prefix_text(key) << text;
}
