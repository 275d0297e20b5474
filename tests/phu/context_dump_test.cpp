// dump, piece by piece.
#include "debug_channel/contexts.h"
#include "phu/commands.h"
#include "tests/phu/fake_hardware.h"

namespace {

class dump_test : public hardware_test {
protected:
    dump_test() {
        phu_shm_ctx = &phu_block;
        phu_block.shm_id = 4;
        phu_block.size = 0x2000;
        plu_shm_ctx->init_done = 1;
        plu_shm_ctx->shm_id = -3;
        plu_shm_ctx->size = 0x1000;
        npu_profile = 6;
        tree.plu()->profile = 2;
        tree.plu()->active_npu_map = 2;
        phu_context &phu = *tree.phu();
        phu.bank_node_used = 77;
        phu.bank_bitmap = uint64_t{1} << 63 | uint64_t{1} << 41 | 1;
        assign(3, 1);
        phu.stride_value[0] = -5;
        phu.stride_value[1] = 12;
        phu.shm_alloc = -1;
        phu.alloc_byte = 5000000000;
        phu.shm_free = 3;
        for (int i = 0; i < phu_pools; ++i) {
            phu.pool_alloc[i] = 10 + i;
            phu.pool_free[i] = 20 + i;
            phu.pool_bytes[i] = 30 + i;
        }
        pool.size = 160;
        phu.node_pool[0] = &pool;
        phu.node_pool[2] = &pool;
        phu.max_bank_nodes_usage = 99;
        phu.max_cfm_mask_count = 33;
        tree.handle()->key_length = 146;
        tree.handle()->leaf_size = 24;
        tree.handle()->address_size = 8;
        tree.handle()->stride_map = stride_map;
    }
    void TearDown() override {
        phu_shm_ctx = nullptr;
        hardware_test::TearDown();
    }

    static std::string dump() {
        return captured([] { cmd_dump(0, 0, 0); });
    }
    [[nodiscard]] std::string blocks() const {
        return "plu_shm_ctx " + at(plu_shm_ctx) + "\nphu_shm_ctx " + at(&phu_block) +
               "\nplu shm init done: 1\nplu shm id -3 size 0x1000\nphu shm id 4, size: 0x2000\n"
               "PLU profile: 2, T1,T2,T3 size 2097152, 2097152, 524288\n";
    }
    static std::string context() {
        return "NPU profile 6\nMax NPU:4  active npu map: [_+__]\n"
               "\n==== phu global ctx ====\nbank node used: 77\nphu bank bitmap: "
               "10000000 00000000 00000010 00000000 00000000 00000000 00000000 00001001\n";
    }
    static std::string tail(const std::string &map_0, const std::string &map_1) {
        return "\n=== stride level bank bitmap ===\n"
               "level, phu->str.a tbm strd_map stride.level bank_used bank_bitmap\n"
               "  0           -5       " +
               map_0 +
               "          0           0     0x000000000000\n"
               "  1           12       " +
               map_1 +
               "          1           1     0x000000000008\n"
               "\n=== PHU stats ===\n  shm_alloc: -1\n alloc byte: 5000000000\n  shm_free : 3\n"
               "0 pool size: 160  alloc:      10  free:      20  bytes:30\n"
               "1 pool size:   0  alloc:      11  free:      21  bytes:31\n"
               "2 pool size: 160  alloc:      12  free:      22  bytes:32\n"
               "3 pool size:   0  alloc:      13  free:      23  bytes:33\n"
               "phu max bank nodes usage: 99\nphu max cfm mask count: 33\n";
    }

    phu_shm_block phu_block{};
    phu_pool_record pool{};
    uint8_t stride_map[phu_stride_levels] = {12, 200};
};

TEST_F(dump_test, ShowsEveryContextInOrder) {
    EXPECT_EQ(dump(), blocks() + context() +
                          "tmbd key len 146, leaf size 24, 4B aligned max level 24 plat addr "
                          "size:8  defined max level 24\ntbdb_root " +
                          at(tree.root_array()) + "\nsize of tn: 160\n" + tail(" 12", "200"));
    EXPECT_EQ(captured_pieces([] { cmd_dump(0, 0, 0); }).size(), 11U + 72 + 4 + 4 + 4 + 4 + 2);
}

TEST_F(dump_test, WithoutATreeTheHandleLinesGiveWay) {
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(dump(), blocks() + context() + "NULL tbm_handle\n" + tail("  0", "  0"));
}

TEST_F(dump_test, MaximumLevelIsRaisedToAMultipleOfFour) {
    const auto has = [](const char *text) { return dump().find(text) != std::string::npos; };
    tree.handle()->stride_map = nullptr;
    tree.handle()->key_length = 50;
    EXPECT_TRUE(has("4B aligned max level 8 plat"));
    tree.handle()->key_length = 54;
    EXPECT_TRUE(has("4B aligned max level 12 plat"));
    EXPECT_TRUE(has("  1           12         0          1"));
}

TEST_F(dump_test, StopsWhenTheProfileCannotBeRead) {
    profile_broken = true;
    EXPECT_EQ(dump(), blocks() + "failed to read profile\n");
    f_vector.ot_csr_read = nullptr;
    EXPECT_EQ(dump(), blocks() + "ot_csr_read not loaded\nfailed to read profile\n");
}

TEST_F(dump_test, ShowsUpTo255NpusAndAtLeastLevelZero) {
    tree.plu()->npu_count = 255;
    tree.plu()->active_npu_map = 0xffffffff;
    tree.phu()->stride[1] = {};
    const auto pieces = captured_pieces([] { cmd_dump(0, 0, 0); });
    EXPECT_EQ(pieces[7], ("Max NPU:255  active npu map: [" + std::string(32, '+') +
                          std::string(223, '_') + "]\n")
                             .substr(0, 230));
    EXPECT_EQ(pieces.size(), 11U + 72 + 4 + 3 + 4 + 4 + 2);
}

}    // namespace
