// Node addresses, node reads and the simulated lookup on hand-made images.

#include "phu/commands.h"
#include "phu/hint_dump.h"
#include "phu/lookup_sim.h"
#include "phu/node_print.h"
#include "phu/node_read.h"
#include "shm/contexts.h"
#include "tbm/key.h"
#include "tests/phu/fake_hardware.h"

namespace {

using node_read_test = hardware_test;
using lookup_test = hardware_test;
using hint_dump_test = hardware_test;

TEST(NodeAddress, FollowsOneRuleInEveryBankAndEndsWithTheBank) {
    struct {
        uint32_t bank, node;
        uint64_t address;
    } const rows[] = {
        {0, 0, 0x00f4968005c00000},  {0, 2047, 0x00f4968005c0ffe0},  {0, 2048, 1},
        {12, 0, 0x00f4a28005cc0000}, {13, 0, 0x00f4a38005cd0000},    {19, 0, 0x00f4a98005d30000},
        {20, 0, 0x00f4aa8005d40000}, {20, 4095, 0x00f4aa8005d5ffe0}, {28, 0, 0x00f4b28005e40000},
        {29, 0, 0x00f4b38005e60000}, {41, 0, 0x00f4bf8005fe0000},    {41, 4096, 1},
        {42, 0, 0xffffffff},         {42, 9999, 0xffffffff},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(phu_bank_node_addr(row.bank, row.node), row.address)
            << row.bank << "/" << row.node;
    }
}

TEST(ChildPointer, CountsNodesOverTheBanksInOrder) {
    struct {
        uint32_t c_ptr, bank, node;
    } const rows[] = {{0, 0, 0},       {0x7ff, 0, 2047},   {0x800, 1, 0},      {0x9fff, 19, 2047},
                      {0xa000, 20, 0}, {0xafff, 20, 4095}, {0x1dfff, 39, 4095}};
    for (const auto &row : rows) {
        EXPECT_EQ(phu_c_ptr_decode(row.c_ptr).bank_id, row.bank) << row.c_ptr;
        EXPECT_EQ(phu_c_ptr_decode(row.c_ptr).first_node, row.node) << row.c_ptr;
        EXPECT_EQ(phu_c_ptr_encode(row.bank, row.node), row.c_ptr);
    }
}

TEST_F(node_read_test, ReadsTheFirstActiveNpuOnly) {
    put(3, 5, end_image(0x11, 0x22));
    tree.plu()->active_npu_map = 0xc;
    phu_node node{};
    EXPECT_EQ(captured([&] { EXPECT_EQ(phu_csr_read_hw_index(0x07030005, node), 0); }), "");
    EXPECT_EQ(npu_of_last_read, 2);
    EXPECT_EQ(phu_mask_bitmap(node), (mask128{0x22, 0x11}));
    chip.plant_read_fault(0x030005, true);
    EXPECT_EQ(captured([&] { EXPECT_EQ(phu_csr_read_node(3, 5, node), 1); }),
              "failed to read hwindex from npu 2, bank_id 3 node_id 5 rc: 0x33\n");
    EXPECT_EQ(csr_reads, 2);
}

TEST_F(node_read_test, EachReasonNotToReadHasItsLineAndReadsNothing) {
    const auto reply = [](uint32_t bank, uint32_t node) {
        return captured([&] {
            phu_node image;
            EXPECT_EQ(phu_csr_read_node(bank, node, image), 1);
        });
    };
    EXPECT_EQ(reply(42, 0), "invalid bank_id 42 node_id 0\n");
    EXPECT_EQ(reply(19, 2048), "invalid bank_id 19 node_id 2048\n");
    f_vector.ot_csr_read = nullptr;
    EXPECT_EQ(reply(3, 0), "ot_csr_read not loaded\n");
    const uint32_t npus[][2] = {{4, 0}, {4, 0x10}, {255, 0}};    // 0x10: beyond the NPUs there are
    for (const auto &[count, map] : npus) {
        tree.plu()->npu_count = static_cast<uint8_t>(count);
        tree.plu()->active_npu_map = map;
        EXPECT_EQ(reply(3, 0), "no active npu found\n");
    }
    EXPECT_EQ(csr_reads, 0);
}

/// A chain for 10.1.2.0/24 in VRF 5: chunks 0 0 5 2 32 16 8 0.
class chain_test : public hardware_test {
protected:
    chain_test() {
        put(41, 0, search_image(1 << 5, phu_c_ptr_encode(19, 2047)));
        put(19, 2047, skip_image(1 << 2 | 1 << 1, phu_c_ptr_encode(20, 4), 6, 0x123));
        put(20, 5, search_image(uint64_t{1} << 32 | 1 << 3 | 1 << 9, 7, 3, 1));
        put(0, 7, end_image(0x77, 7));           // match-end node
        put(0, 10, end_image(0xa0b, 0x0c0d));    // chunk 32: behind chunks 3 and 9
    }
};

TEST_F(chain_test, FollowsSkipNodesLikeSearchNodesAndTracesEveryNode) {
    EXPECT_EQ(reply_of(cmd_v4hw, 0x0a010200, 24, 5),
              "prefix 0x0a010200 10.1.2.0/24\n\n"
              "SN: ext_bitmap: 0x0000000000000020 level:0 bank:19 node_id:2047 me:0 bmsf: 0 "
              "c_ptr 0x09fff hw_index: 0x00290000\n"
              "SN: ext_bitmap: 0x0000000000000006 level:1 bank:20 node_id:   4 me:0 bmsf: 0 "
              "c_ptr 0x0a004 hw_index: 0x011307ff\n"
              "SN: ext_bitmap: 0x0000000100000208 level:2 bank: 0 node_id:   7 me:1 bmsf: 3 "
              "c_ptr 0x00007 hw_index: 0x02140005\n"
              "EN: masks: 0x0000000000000a0b 0000000000000c0d level:3 hw_index: 0x0300000a\n"
              "\ncalled phu_hw_engine_search_sim(), rc = 0x0 hint_mask 0x0000000000000c0d\n");
    EXPECT_EQ(phu_debug_det, 1);
}

TEST_F(chain_test, ChunkWithoutChildTakesTheMatchEndNodeOrFails) {
    mask128 mask{1, 2};
    const auto search = [&](uint32_t address) {
        return captured([&] {
            tbm_key key{};
            pfx_entry_to_tbm_key(pfx_entry_build_v4(address, 24, 5), key);
            phu_hw_engine_search_sim(key.bytes, mask, 0);
        });
    };
    EXPECT_EQ(search(0x0a810200), "");    // chunk 40 in place of 32
    EXPECT_EQ(mask, (mask128{7, 0x77}));
    chip.plant_read_fault(0x02140004, true);
    EXPECT_EQ(search(0xf0000000), "ERR: both tt and me_exists are 0\n");
    EXPECT_EQ(search(0x04000000), "ERR: phu_hw_read_node error: phu_hw_index:0x02140004\n");
    put(20, 4, phu_node{});
    EXPECT_EQ(search(0x04000000), "Wrong node type: 0\n");
    EXPECT_EQ(mask, (mask128{7, 0x77})) << "a failed search leaves the result alone";
}

TEST_F(lookup_test, ChainDeeperThanTheKeyIsStopped) {
    put(41, 1024, search_image(~uint64_t{0}, phu_c_ptr_encode(21, 64)));
    for (uint32_t i = 0; i < 64; ++i) {
        put(21, 64 + i, search_image(~uint64_t{0}, phu_c_ptr_encode(21, 64)));
    }
    const auto pieces = pieces_of(cmd_v6hw, 0x20010db800000000, 0, 32);
    ASSERT_EQ(pieces.size(), 27U);    // prefix, levels 0 to 23, error, result
    EXPECT_EQ(pieces[0], "prefix 0x20010db8000000000000000000000000 (2001:db8::)/32\n\n");
    EXPECT_EQ(pieces[25], "ERR: hint node chain too deep, level:23\n");
    EXPECT_EQ(pieces[26],
              "\n phu_hw_engine_search_sim(): rc = 0x4d7eca00 hint_mask 0x0000000000000000 "
              "0000000000000000\n");
}

TEST_F(lookup_test, ArgumentsAreCutToTheirLengthAndTheDefaultIsSearchedInIpv4Only) {
    const auto prefix = [](uint64_t argument) {
        return pieces_of(cmd_v6hw, 0x20010db8aabbccdd, 0x112233445566776f, argument)[0].substr(42);
    };
    EXPECT_EQ(prefix(1300), "(2001:db8:aab0::)/44\n\n");
    EXPECT_EQ(prefix(65535127), "(2001:db8:aabb:ccdd:1122:3344:5566:776e)/127\n\n");
    put(41, 0, end_image(3, 9));
    EXPECT_EQ(reply_of(cmd_v6hw, 0, 0, 5000), "skip searching default prefix\n");
    EXPECT_EQ(reply_of(cmd_v4hw),
              "prefix 0x00000000 0.0.0.0/0\n\n"
              "EN: masks: 0x0000000000000003 0000000000000009 level:0 hw_index: 0x00290000\n"
              "\ncalled phu_hw_engine_search_sim(), rc = 0x0 hint_mask 0x0000000000000009\n");
}

TEST_F(lookup_test, LastChunkOfIpv6IsTheLastWholeKeyBytes) {
    // Every level leads to the node of its chunk; the address ends in chunk 23 = 0x2a.
    put(41, 1024, search_image(1, phu_c_ptr_encode(1, 0)));
    for (uint32_t level = 1; level < 21; ++level) {
        put(level, 0, search_image(1, phu_c_ptr_encode(level + 1, 0)));
    }
    put(21, 0, search_image(uint64_t{1} << 0x2a, phu_c_ptr_encode(22, 9)));
    put(22, 9, end_image(0, 5));
    EXPECT_TRUE(
        contains(reply_of(cmd_v6hw, 0, 0x2a << 2 | 3, 128), "level:22 hw_index: 0x16160009"));
}

TEST_F(hint_dump_test, ShowsNodeOwnerCopiesAndMasks) {
    EXPECT_EQ(captured([&] { tn_hint_dump(tree.root(0)); }),
              "HINT state:   INIT bmsf: 0 pb_len: 0 offset:0 la:(nil) nodes: 0 key type:0 hw idx: "
              "0x00000000\n"
              "hint mask  0x0000000000000000 0x0000000000000000  (/1 from left most)\n");
    EXPECT_EQ(csr_reads, 0);
    tn *node = hint(tree.root(0), 5, put(2, 3, skip_image(0xf0, 0x801, 12, 0xabcdef)));
    node->bmsf = 8;
    node->par_bl_len = 9;
    node->par_bl_offset = 2;
    node->tn_nodes = 3;
    node->key_type = 1;
    node->hint_sn_flags = PHU_NODE_SKIP;
    node->hint_sn_word = phu_word_make(0x801, 8, 1);
    node->hint_sn_bitmap = 0xf0;
    node->hint_en_flags = PHU_NODE_EN;
    node->hint_en_mask[0] = 1;
    node->hint_en_mask[15] = 0x80;
    node->hint_mask = {3, 4};
    node->int_mask_count = 1;
    node->int_mask = {5, 6};
    node->ext_mask = {7, 8};
    EXPECT_EQ(
        captured([&] { tn_hint_dump(node); }),
        "HINT SKIP  ebitmap: 0x00000000000000f0, ptr:0x801, bmsf:0, me:0  skip_len 12 "
        "skip_pattern: 0xabcdef tn: " +
            at(node) +
            " hw index: 0xff020003\n"
            "HINT state: SEARCH bmsf: 8 pb_len: 9 offset:2 la:(nil) nodes: 3 key type:1 hw idx: "
            "0xff020003\n"
            "HINT sn bmsf: 8 me:1 child_array_ptr 0x801\n"
            "sn bitmap  0x00000000000000f0\n"
            "h en mask  0x8000000000000000 0x0000000000000001\n"
            "hint mask  0x0000000000000004 0x0000000000000003  (/1 from left most)\n"
            "h int mask 0x0000000000000006 0x0000000000000005  count 1\n"
            "h ext mask 0x0000000000000008 0x0000000000000007  count 0\n");
}

}    // namespace
