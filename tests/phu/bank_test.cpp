// banksum, bankbitmap, ckbank on hand-made bank tables and nodes.
#include "phu/commands.h"
#include "shm/contexts.h"
#include "tests/phu/fake_hardware.h"

namespace {

using banksum_test = hardware_test;
using bankbitmap_test = hardware_test;

std::string gap(size_t n) {
    return std::string(n, '_');
}

std::string results(int indexes, int invalid, int mismatches, int sn, int en, int skip) {
    return format(
        "Results of checking PHU banks:\n  hw index count:         %d \n"
        "  INVALID hw index count: %d\n  en mask MISMATCH      : %d\n"
        "  sn entry count:         %d \n  en entry count:         %d\n"
        "  skip entry count:       %d\n",
        indexes, invalid, mismatches, sn, en, skip);
}

TEST_F(banksum_test, ListsBanksInUseAndLevelsUnderTheRuler) {
    assign(0, 2);
    assign(1, 2);
    tree.phu()->bank[30].node_used = 5;    // in use without a level
    tree.phu()->stride[3].bank_bitmap = uint64_t{1} << 41;
    EXPECT_EQ(reply_of(cmd_banksum),
              "bank 00  size 2048  node used    0  stride level   2  bitmap size 32\n"
              "bank 01  size 2048  node used    0  stride level   2  bitmap size 32\n"
              "bank 30  size 4096  node used    5  stride level 255  bitmap size 64\n"
              "bank 41  size 4096  node used    0  stride level   0  bitmap size 64\n\n" +
                  std::string(40, ' ') + "109876543210987654321098765432109876543210\n" +
                  "stride level  2 bitmap: 0x000000000003  " + gap(40) + "##  bank_used 2\n" +
                  "stride level  3 bitmap: 0x020000000000  #" + gap(41) + "  bank_used 0\n" +
                  "SUM        bank bitmap: 0x020000000003  #" + gap(39) + "##\n");
}

TEST_F(bankbitmap_test, TrimsEmptyWordsAboveTheFourth) {
    const auto rows = [] { return pieces_of(cmd_bankbitmap, 2).size() - 1; };
    EXPECT_EQ(rows(), 4U);
    put(2, 64 * 6 + 1, phu_node{});
    const auto pieces = pieces_of(cmd_bankbitmap, 2);
    ASSERT_EQ(pieces.size(), 8U);
    EXPECT_EQ(pieces[0], "bank 2 bitmap\n");
    EXPECT_EQ(pieces[1], "   0 " + gap(64) + "\n");
    EXPECT_EQ(pieces[7], " 384 _#" + gap(62) + "\n");
    for (const auto size :
         std::initializer_list<uint16_t>{3, 0, 0xffff}) {    // the last more than a record holds
        tree.phu()->bank[2].bitmap_size = size;
        EXPECT_EQ(rows(), std::min(size_t{size}, size_t{7}));
    }
    EXPECT_EQ(reply_of(cmd_bankbitmap, 42), "invalid bank id 42\n");
    EXPECT_EQ(reply_of(cmd_bankbitmap, ~uint64_t{0}), "invalid bank id -1\n");
}

TEST_F(bankbitmap_test, ShowsANodeForAnItemOfTheBank) {
    put(2, 0, end_image(1, 2));
    put(2, 2047, end_image(3, 4));
    const tn *owner = hint(tree.root(0), HINT_END, hw_index_make(7, 2, 2047));
    EXPECT_EQ(reply_of(cmd_bankbitmap, 2, 2047),
              "bank 2 bitmap\nHINT EN:  0x0000000000000003 0000000000000004  " +
                  label(owner, 0x000207ff) + "\n");
    EXPECT_EQ(reply_of(cmd_bankbitmap, 2, 0, 1),
              "bank 2 bitmap\nHINT EN:  0x0000000000000001 0000000000000002  " +
                  label(nullptr, 0x00020000) + "\n");
    const uint64_t bitmaps[][2] = {{0, 0}, {2048, 0}, {2048, 1}, {0, 2}};
    for (const auto &[item, allow] : bitmaps) {
        EXPECT_EQ(reply_of(cmd_bankbitmap, 2, item, allow).find("bank 2 bitmap\n   0 #"), 0U);
    }
}

/// A healthy card: a search node with an IPv4 and an IPv6 end node below.
class ckbank_test : public hardware_test {
protected:
    ckbank_test() {
        assign(1, 1);
        assign(20, 2);
        root = tree.root(0);
        search = hint(tree.add_search(root, 3), HINT_SEARCH, put(1, 1, search_image(6, 0xa000, 7)));
        search->bmsf = 7;
        search->hint_ebmap = 6;
        v4 = hint(tree.add_end(search, 1), HINT_END, put(20, 1, end_image(0, 0xc1000000)));
        v4->int_mask.high = uint64_t{0x81000000} << 32;
        v4->bmsf = 2;
        v6 = hint(tree.add_end(search, 2), HINT_END, put(20, 2, end_image(0x81, 1)));
        v6->key_type = 1;
        v6->int_mask = {1, 0x80};
        v6->ext_mask = {0, 1};
    }

    std::string ckbank(uint64_t detail = 0) {
        return named(reply_of(cmd_ckbank, detail), {{search, "SEARCH"}, {v4, "V4"}, {v6, "V6"}});
    }

    tn *root, *search, *v4, *v6;
};

TEST_F(ckbank_test, HealthyBanksGiveResultsOnly) {
    hint(tree.add_intern(root), HINT_END, 0x55555555);    // internal nodes are not checked
    EXPECT_EQ(ckbank(), results(3, 0, 0, 1, 2, 0));
    const std::string detailed = ckbank(1);
    EXPECT_FALSE(contains(detailed, "ERR"));
    for (const char *line : {
             "index 20 bank id 20, stride level 2 bank size 4096 bitmap size 64\n",
             "index 40 bank id 40, stride level 255 bank size 4096 bitmap size 64\n"
             "phu bank node used 0, sum of bank node used 3\n",
             "info: phu_stride 2 bitmap bit 20 phu_bank[20] stride level 2\n"
             "bank_stride 2, level 2, bank used 1 bitmap ones 1 0x0000000000100000\n"
             "stride bank used sum 2, phu_ctx bank_bitmap ones 2 (exluced bank 40, 41)\n",
             "mask count    en node count\n   3               2\n",
         }) {
        EXPECT_TRUE(contains(detailed, line));
    }
}

TEST_F(ckbank_test, EveryBankTableFaultHasItsLine) {
    phu_context &phu = *tree.phu();
    phu.bank[5].bank_id = 6;
    phu.bank[40].bank_size = 2048;
    phu.bank[41] = {};    // not checked
    phu.bank[41].bitmap_size = 1;
    phu.bank[7].node_used = 2;
    phu.bank[7].node_bitmap[63] = 1;    // beyond the nodes of a small bank
    phu.stride[2].bank_bitmap |= 1 << 1 | 1 << 9;
    phu.stride[2].bank_used = 4;
    EXPECT_EQ(ckbank(),
              "ERR: bank id 6 doesn't match bank location index 5\n"
              "ERR: bank 40 has incorrect bank_size: 2048 or bitmap size 64\n"
              "ERR: bank 7 node used 2 doens't match node_bitmap ones 0\n"
              "ERR: phu_stride 2 bitmap bit 1 mismatch with phu_bank[1] stride level 1\n"
              "ERR: phu_stride 2 bitmap bit 9 mismatch with phu_bank[9] stride level 255\n"
              "ERR: phu_ctx bank_bitmap ones (2) doesn't match phu_stride[].bank_used 5\n" +
                  results(3, 0, 0, 1, 2, 0));
    EXPECT_TRUE(contains(ckbank(1),
                         "phu_stride 2 bank_bitmap 0x0000000000100202 doesn't match phu_ctx "
                         "bank_bitmap 0x0000030000100002 \n"));
}

TEST_F(ckbank_test, InvalidIndexesAreReportedNineTimesAndCountedOn) {
    const uint32_t invalid[] = {0x012a0001, 0x01020001, 0x01010800, 0x01010002};
    for (uint32_t i = 0; i < 12; ++i) {
        hint(tree.add_end(root, 40 + i), HINT_END, invalid[i % 4]);
    }
    tree.phu()->bank[1].node_bitmap[32] = 1;    // node 2048 in use, beyond the bank's size
    tree.phu()->bank[20].bank_size = 0xffff;    // does not open the way beyond the bitmap
    hint(tree.add_end(root, 60), HINT_END, 0x02144000);
    const std::string reply = ckbank();
    EXPECT_EQ(occurrences(reply, "invalid bank id"), 9U);
    EXPECT_TRUE(
        contains(reply, "invalid bank id 42 or node id 1 found for hw index 0x12a0001 tn 0x"));
    EXPECT_TRUE(contains(reply, results(16, 13, 0, 1, 2, 0)));
}

TEST_F(ckbank_test, WrongLevelIsReportedButNotCounted) {
    v4->hw_index = 0x18140001;
    v6->hw_index = 0x03140002;
    tree.phu()->stride[3].level = 0;
    EXPECT_EQ(ckbank(),
              "invalid level 24 found for hw index 0x18140001 tn V4\n"
              "invalid level 3 found for hw index 0x3140002 tn V6\n" +
                  results(3, 0, 0, 1, 0, 0));
}

TEST_F(ckbank_test, MasksOfIpv4CompareInFourBytesAndOfIpv6InAll) {
    put(20, 1, end_image(1, 0x1c1000000));    // bits beyond the first four bytes
    EXPECT_EQ(ckbank(), results(3, 0, 0, 1, 2, 0));
    v6->int_mask.low = 3;
    put(20, 1, end_image(0, 0xc1000001));
    EXPECT_EQ(ckbank(),
              "ERR: hint en mask mismatch for tn V4 hw index 0x2140001\n"
              "  en->mask_bitmap 0xc1000001 hint_mask 0xc1000000\n"
              "ERR: hint en mask mismatch for tn V6 hw index 0x2140002\n" +
                  results(3, 0, 2, 1, 2, 0));
}

TEST_F(ckbank_test, ReportsTenMaskMismatchesAndComparesTenSearchNodes) {
    const phu_node full = end_image(~uint64_t{0}, ~uint64_t{0});
    for (uint32_t i = 0; i < 12; ++i) {
        hint(tree.add_end(search, 10 + i), HINT_END, put(20, 100 + i, full));
    }
    search->bmsf = 8;    // SN 1 differs, SNs 10, 11, 12 do
    for (uint32_t i = 0; i < 11; ++i) {
        tn *node =
            hint(tree.add_search(root, 10 + i), HINT_SEARCH, put(1, 10 + i, search_image(0, 0)));
        node->hint_ebmap = i >= 8 ? 1 : 0;
    }
    const std::string reply = ckbank(1);
    EXPECT_EQ(occurrences(reply, "ERR: hint en mask"), 10U);
    EXPECT_EQ(occurrences(reply, "ERR: hint sn mismatch for tn SEARCH hw index 0x1010001\n"), 1U);
    EXPECT_EQ(occurrences(reply, "ERR: hint sn mismatch"), 2U);
    EXPECT_TRUE(contains(reply, results(26, 0, 12, 12, 14, 0)));
    EXPECT_TRUE(contains(reply, "en node count\n   0              12\n"));
}

TEST_F(ckbank_test, SkipNodesAndFailedReadsAreNotCompared) {
    put(1, 1, skip_image(0, 0, 0, 0));
    chip.plant_read_fault(0x140002, true);
    EXPECT_TRUE(contains(ckbank(),
                         "node type: 2 tn SEARCH\n"
                         "failed to read hwindex from npu 0, bank_id 20 node_id 2 rc: 0x33\n" +
                             results(3, 0, 0, 0, 1, 1)));
    tree.phu()->tbm_handle = nullptr;
    EXPECT_TRUE(contains(ckbank(), "NULL tbm_handle\n" + results(0, 0, 0, 0, 0, 0)));
}

}    // namespace
