// dump, piece by piece.
#include "phu/commands.h"
#include "shm/contexts.h"
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
        const uint32_t profile = 6;
        chip.write(0, 0x56500010810fa8, &profile);
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
        phu.node_pool[0] = phu.node_pool[2] = &pool;
        phu.max_bank_nodes_usage = 99;
        phu.max_cfm_mask_count = 33;
        tree.handle()->key_length = 146;
        tree.handle()->leaf_size = 24;
        tree.handle()->address_size = 8;
        tree.handle()->stride_map = stride_map;
    }
    std::string dump() {
        return named(reply_of(cmd_dump), {{plu_shm_ctx, "PLU"}, {&phu_block, "PHU"}});
    }
    static std::string expected(const std::string &handle, const char *map_0, const char *map_1) {
        return std::string(blocks) +
               "NPU profile 6\nMax NPU:4  active npu map: [_+__]\n"
               "\n==== phu global ctx ====\nbank node used: 77\nphu bank bitmap: "
               "10000000 00000000 00000010 00000000 00000000 00000000 00000000 00001001\n" +
               handle +
               format(
                   "\n=== stride level bank bitmap ===\n"
                   "level, phu->str.a tbm strd_map stride.level bank_used bank_bitmap\n"
                   "  0           -5       %s          0           0     0x000000000000\n"
                   "  1           12       %s          1           1     0x000000000008\n",
                   map_0, map_1) +
               "\n=== PHU stats ===\n  shm_alloc: -1\n alloc byte: 5000000000\n  shm_free : 3\n"
               "0 pool size: 160  alloc:      10  free:      20  bytes:30\n"
               "1 pool size:   0  alloc:      11  free:      21  bytes:31\n"
               "2 pool size: 160  alloc:      12  free:      22  bytes:32\n"
               "3 pool size:   0  alloc:      13  free:      23  bytes:33\n"
               "phu max bank nodes usage: 99\nphu max cfm mask count: 33\n";
    }

    static constexpr const char *blocks =
        "plu_shm_ctx PLU\nphu_shm_ctx PHU\n"
        "plu shm init done: 1\nplu shm id -3 size 0x1000\nphu shm id 4, size: 0x2000\n"
        "PLU profile: 2, T1,T2,T3 size 2097152, 2097152, 524288\n";
    phu_shm_block phu_block{};
    phu_pool_record pool{};
    uint8_t stride_map[phu_stride_levels] = {12, 200};
};

TEST_F(dump_test, ShowsEveryContextInOrder) {
    const struct {
        uint16_t key_length;
        const char *max_level;
    } rows[] = {{146, "24"}, {50, "8"}, {54, "12"}};
    for (const auto &row : rows) {
        tree.handle()->key_length = row.key_length;
        EXPECT_EQ(
            dump(),
            expected(format("tmbd key len %d, leaf size 24, 4B aligned max level %s plat "
                            "addr size:8  defined max level 24\ntbdb_root %p\n"
                            "size of tn: 160\n",
                            row.key_length, row.max_level, static_cast<void *>(tree.root_array())),
                     " 12", "200"));
    }
    tree.handle()->stride_map = nullptr;
    EXPECT_TRUE(contains(dump(), "  1           12         0          1"));
    tree.phu()->tbm_handle = nullptr;
    EXPECT_EQ(dump(), expected("NULL tbm_handle\n", "  0", "  0"));
}

TEST_F(dump_test, StopsWhenTheProfileCannotBeRead) {
    chip.reset(0, 0);
    EXPECT_EQ(dump(), std::string(blocks) + "failed to read profile\n");
    f_vector.ot_csr_read = nullptr;
    EXPECT_EQ(dump(), std::string(blocks) + "ot_csr_read not loaded\nfailed to read profile\n");
}

TEST_F(dump_test, ShowsUpTo255NpusAndAtLeastLevelZero) {
    tree.plu()->npu_count = 255;
    tree.plu()->active_npu_map = 0xffffffff;
    tree.phu()->stride[1] = {};
    const auto pieces = pieces_of(cmd_dump);
    const std::string npus = "Max NPU:255  active npu map: [" + std::string(32, '+');
    EXPECT_EQ(pieces[7], npus + std::string(230 - npus.size(), '_'));
    EXPECT_EQ(pieces.size(), 11U + 72 + 4 + 3 + 4 + 4 + 2);
}

}    // namespace
