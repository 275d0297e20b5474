#include "tbm/node_dump.h"

#include <gtest/gtest.h>

#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/hand_tree.h"
#include "tests/support/text.h"

namespace {

std::vector<std::string> dump(const tn *node, int key_bits, const uint8_t *key, uint32_t detail) {
    return captured_pieces([&] { tbm_node_dump(node, key_bits, key, detail); });
}

}    // namespace

TEST(NodeDump, PrefixDigitsFollowTheKeyBits) {
    hand_tree tree;
    const tn *node = tree.root();
    const leaf *v4 = tree.make_leaf("171.205.239.255/32", 5);
    const leaf *v6 = tree.make_leaf("2001:db8:ffff:ffff:ffff:ffff:ffff:ffff/128", 65535);
    const struct {
        const leaf *key;
        int key_bits;
        const char *head;
    } cases[] = {
        {v4, 12, "key_bits_used: 12 vrf:    5, prefix bits: 0  0x "},
        {v4, 18, "key_bits_used: 18 vrf:    5, prefix bits: 0  0x "},
        {v4, 19, "key_bits_used: 19 vrf:    5, prefix bits: 1  0x8 "},
        {v4, 20, "key_bits_used: 20 vrf:    5, prefix bits: 2  0x8 "},
        {v4, 41, "key_bits_used: 41 vrf:    5, prefix bits:23  0xabcdee "},
        {v4, 42, "key_bits_used: 42 vrf:    5, prefix bits:24  0xabcdef "},
        {v6, 146,
         "key_bits_used:146 vrf:65535, prefix bits:128  0x20010db8ffffffffffffffffffffffff "},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(dump(node, c.key_bits, c.key->key, 0)[0],
                  format("\nNODE type: SEARCH %s tn addr: 0x%lx\n", c.head, number(node)));
    }
    EXPECT_EQ(join(dump(node, 147, v6->key, 3)), "invalide key bits used 147\n");
}

TEST(NodeDump, HintDataMasksLeavesAndRealChildren) {
    hand_tree tree;
    tn *node = tree.search_at("10.0.0.0/8", 24);
    const uint8_t *key = tree.add_leaf(node, "10.0.0.0/8")->key;
    tree.add_leaf(node, "8.0.0.0/6");
    tn_inode(node)->hw_index = 0xbad;
    for (uint32_t chunk = 0; chunk < 11; ++chunk) {
        tree.add_end(node, chunk)->hw_index = 0x100 + chunk;
    }
    node->sn_charray->ta_nodes[2] = nullptr;
    EXPECT_EQ(join(dump(node, 24, key, 1), 3), "  8.0.0.0/6\n  10.0.0.0/8\n");

    node->hint_state = 9;
    node->bmsf = 8;
    node->par_bl_larray = tree.make_leaf_array(7);
    node->par_bl_len = 12;
    node->par_bl_offset = 3;
    node->hw_index = 0x1290abc;
    node->hint_mask = {2, 1};
    node->hint_ebmap = 5;
    node->ext_mask_count = 2;
    node->int_mask = {0, 0xf000000000000000};
    node->ext_mask = {0xab, 0};
    const std::string expected =
        "hint_state:    INVALID bmsf: 8 par bl larray LA, len 12 offset 3, inode:1 "
        "hw index 0x01290abc\n"
        "  int mask 0xf000000000000000 0x0000000000000000  int mask count 0\n"
        "  ext mask 0x0000000000000000 0x00000000000000ab  ext mask count 2\n"
        "  hintmask 0x0000000000000001 0x0000000000000002 (1 from left most)\n";
    const auto pieces = dump(node, 24, key, 2);
    EXPECT_EQ(named(join(pieces, 1), {{node->par_bl_larray, "LA"}}),
              expected +
                  "SN tn_par_larray 7 par_bl_offset 3, par bl len 12\n"
                  "  sn_ebmap 0x00000000000007ff\n"
                  "hint_ebmap 0x0000000000000005\n"
                  "child array nodes: 11, inodes exists: 1 children hw index:\n"
                  "0x100 0x0 0x102 0x103 0x104 0x105 0x106 0x107 0x108 0x109 \n"
                  "0x10a \n");
    EXPECT_EQ(pieces.size(), 4U + 4 + 11 + 2);

    node->sn_charray->ta_nnodes = 0;
    EXPECT_EQ(dump(node, 24, key, 2).size(), 4U + 4);
    node->sn_charray = nullptr;
    EXPECT_EQ(dump(node, 24, key, 2).size(), 4U + 3);
    node->tn_flags = 0x105;
    EXPECT_EQ(dump(node, 24, key, 2).back(), "node type not handled:5\n");
    EXPECT_EQ(dump(node, 24, key, 2)[0].substr(0, 19), "\nNODE type:INVALID ");
    node->tn_flags = TN_END;
    EXPECT_EQ(dump(node, 24, key, 3).size(), 4U) << "an end node adds no detail";
}
