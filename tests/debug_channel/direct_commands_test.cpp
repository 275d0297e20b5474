#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <string>
#include <vector>

#include "debug_channel/commands.h"
#include "debug_channel/contexts.h"
#include "debug_channel/readable.h"
#include "debug_channel/registers.h"
#include "tbm/access.h"
#include "tests/support/capture.h"
#include "tests/support/text.h"

namespace {

inline constexpr size_t page = 4096;

/// Three pages: readable and writable, read-only, not mapped.
struct pages {
    uint8_t *base = static_cast<uint8_t *>(
        mmap(nullptr, 3 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    pages() {
        mprotect(base + page, page, PROT_READ);
        munmap(base + 2 * page, page);
    }
    ~pages() { munmap(base, 2 * page); }
    pages(const pages &) = delete;
    pages(pages &&) = delete;
    pages &operator=(const pages &) = delete;
    pages &operator=(pages &&) = delete;
};

/// A tree whose root table has three slots; the node of slot 0 opens the first page.
class DirectCommands : public testing::Test {
protected:
    void SetUp() override {
        plu_shm_ctx = &block;
        plu_ctx = &context;
        phu_ctx = &context.phu;
        context.phu.tbm_handle = &handle;
        handle.tbdb_root = &root;
        root = {3, 0, 0, slots};
        slots[0] = reinterpret_cast<tn *>(memory.base);
    }
    void TearDown() override {
        context.phu.tbm_handle = nullptr;
        f_vector = {};
    }

    static inline plu_context context{};
    static inline plu_shm_block block{};
    pages memory;
    tbm_handle_record handle{};
    tree_array root{};
    tn *slots[3] = {};
};

}    // namespace

TEST_F(DirectCommands, GuardAsksEveryPageAndNeverWraps) {
    const uint64_t base = number(memory.base);
    struct {
        uint64_t address;
        size_t size;
        bool readable;
    } const cases[] = {
        {base, 2 * page, true},
        {base + page - 1, 2, true},
        {base + 2 * page - 1, 1, true},
        {base + 2 * page - 1, 2, false},
        {base, 2 * page + 1, false},
        {base, ~size_t{0}, false},
        {~uint64_t{0}, 1, false},
        {~uint64_t{0}, 2, false},
        {8, 1, false},
        {8, 0, true},
        {0, 0, true},
    };
    for (const auto &c : cases) {
        bool answer = false;
        const std::string sent =
            captured([&] { answer = operator_address_readable(c.address, c.size); });
        EXPECT_EQ(answer, c.readable) << c.address << "+" << c.size;
        EXPECT_EQ(sent, c.readable ? "" : format("address 0x%lx is not readable\n", c.address));
    }
}

TEST_F(DirectCommands, GuardReadsOnPastManyPages) {
    const size_t size = 300 * page;
    void *area = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_TRUE(operator_address_readable(number(area) + 5, size - 5));
    mprotect(static_cast<uint8_t *>(area) + 200 * page, page, PROT_NONE);
    EXPECT_FALSE(operator_address_readable(number(area) + 5, size - 5));
    munmap(area, size);
}

TEST_F(DirectCommands, MemrDumpsGroupsOfFourAndLinesOfSixteen) {
    for (int i = 0; i < 40; ++i) {
        memory.base[i] = static_cast<uint8_t>(0xf0 + i);
    }
    const std::string head = format("read start from 0x%lx", number(memory.base));
    const auto dump = [&](uint64_t size) {
        return captured([&] { cmd_memr(number(memory.base), size, 0); });
    };
    EXPECT_EQ(dump(0), head + "\n");
    EXPECT_EQ(dump(~uint64_t{0}), head + "\n");
    EXPECT_EQ(dump(5), head + "\n0x0000   f0f1f2f3 f4\n");
    EXPECT_EQ(dump(17), head + "\n0x0000   f0f1f2f3 f4f5f6f7 f8f9fafb fcfdfeff\n0x0010   00\n");
    const std::vector<std::string> pieces =
        captured_pieces([&] { cmd_memr(number(memory.base), 5, 0); });
    EXPECT_EQ(pieces, (std::vector<std::string>{head, "\n0x0000  ", " ", "f0", "f1", "f2", "f3",
                                                " ", "f4", "\n"}));
}

TEST_F(DirectCommands, MemoryCommandsKeepToTheSharedRange) {
    const uint64_t start = number(memory.base);
    const uint64_t end = start + 0x180000000;
    const std::string refusal = format(
        "PHU shared mem range: addr 0x%lx - 0x%lx, set a3 = 1 to bypass check\n", start, end);
    for (const uint64_t outside : {start - 1, end + 1, uint64_t{0}, ~uint64_t{0}}) {
        EXPECT_EQ(captured([&] { cmd_memr(outside, 4, 0); }), refusal);
        EXPECT_EQ(captured([&] { cmd_memr(outside, 5000, 0); }), refusal);
        EXPECT_EQ(captured([&] { cmd_memw8(outside, 4, 0); }), refusal);
        EXPECT_EQ(captured([&] { cmd_memw32(outside, 4, 0); }), refusal);
    }
    // The end itself passes the range check; here nothing is mapped there.
    EXPECT_EQ(captured([&] { cmd_memr(end, 1, 0); }),
              format("address 0x%lx is not readable\n", end));
    EXPECT_EQ(captured([&] { cmd_memr(start, 4001, 0); }),
              "read size > 4000, set a3 = 1 to bypass the check\n");
    EXPECT_EQ(captured_pieces([&] { cmd_memr(start, 4000, 0); }).size(),
              1U + 250 + 1000 + 4000 + 1);
    EXPECT_EQ(captured_pieces([&] { cmd_memr(start, 4001, 1); }).size(),
              1U + 251 + 1001 + 4001 + 1);
}

TEST_F(DirectCommands, BypassReachesMemoryOutsideTheRange) {
    uint32_t target = 0x11223344;
    slots[0] = nullptr;
    EXPECT_EQ(captured([&] { cmd_memw32(number(&target), 0xaabbccdd, 0); }), "NULL tbm_handle\n");
    EXPECT_EQ(captured([&] { cmd_memw8(number(&target), 0xaa, 0); }), "NULL tbm_handle\n");
    EXPECT_EQ(captured([&] { cmd_memr(number(&target), 4, 0); }), "NULL tbm_handle\n");
    EXPECT_EQ(target, 0x11223344U);
    EXPECT_EQ(captured([&] { cmd_memw32(number(&target), 0xcbbccddeeU, 1); }),
              format("write 0xbbccddee to 0x%lx\n", number(&target)));
    EXPECT_EQ(target, 0xbbccddeeU);
    EXPECT_EQ(captured([&] { cmd_memr(number(&target), 4, 1); }),
              format("read start from 0x%lx\n0x0000   eeddccbb\n", number(&target)));
}

TEST_F(DirectCommands, StoresTouchNoNeighbourAtAnyAlignment) {
    uint8_t *at = memory.base + page - 16;
    for (int shift = 0; shift < 5; ++shift) {
        memset(at, 0x77, 16);
        EXPECT_EQ(captured([&] { cmd_memw32(number(at + 4 + shift), 0x00000102, 0); }),
                  format("write 0x00000102 to 0x%lx\n", number(at + 4 + shift)));
        uint8_t expected[16];
        memset(expected, 0x77, 16);
        const uint8_t word[4] = {2, 1, 0, 0};
        memcpy(expected + 4 + shift, word, 4);
        EXPECT_EQ(memcmp(at, expected, 16), 0) << shift;
    }
    EXPECT_EQ(captured([&] { cmd_memw8(number(at + 3), 0x1ff, 0); }),
              format("write 0xff to 0x%lx\n", number(at + 3)));
    EXPECT_EQ(at[3], 0xff);
    EXPECT_EQ(at[2], 0x77);
}

TEST_F(DirectCommands, StoreThatWouldFaultIsRefusedWholly) {
    const uint64_t read_only = number(memory.base + page);
    for (const uint64_t bypass : {0, 1}) {
        EXPECT_EQ(captured([&] { cmd_memw8(read_only, 1, bypass); }),
                  format("address 0x%lx is not writable\n", read_only));
        EXPECT_EQ(captured([&] { cmd_memw32(read_only - 2, 0xffffffff, bypass); }),
                  format("address 0x%lx is not writable\n", read_only - 2));
        EXPECT_EQ(captured([&] { cmd_memw32(read_only + page - 2, 1, bypass); }),
                  format("address 0x%lx is not readable\n", read_only + page - 2));
    }
    EXPECT_EQ(memory.base[page - 2], 0);
    EXPECT_EQ(captured([&] { cmd_memr(0x10, 4, 1); }), "address 0x10 is not readable\n");
}

TEST_F(DirectCommands, SetbmsfWritesSearchNodesOnly) {
    auto *node = reinterpret_cast<tn *>(memory.base);
    block = {};
    plu_shm_ctx = reinterpret_cast<plu_shm_block *>(memory.base);
    EXPECT_EQ(captured([&] { cmd_setbmsf(number(node) - 1, 3, 0); }),
              format("invalid tn addr: 0x%lx\n", number(node) - 1));
    EXPECT_EQ(captured([&] { cmd_setbmsf(number(node), 0x118, 0); }),
              format("set bmsf 24 to tn 0x%lx", number(node)));
    EXPECT_EQ(node->bmsf, 24);
    for (const uint16_t type : {TN_INTERN, TN_LEAF, TN_END}) {
        node->tn_flags = type;
        EXPECT_EQ(captured([&] { cmd_setbmsf(number(node), 7, 0); }),
                  "skip setting bmsf for internal node\n");
        EXPECT_EQ(node->bmsf, 24);
    }
    const uint64_t read_only = number(memory.base + page);
    EXPECT_EQ(captured([&] { cmd_setbmsf(read_only, 7, 0); }),
              format("address 0x%lx is not writable\n", read_only));
    EXPECT_EQ(captured([&] { cmd_setbmsf(read_only + page - 100, 7, 0); }),
              format("address 0x%lx is not readable\n", read_only + page - 100));
    plu_shm_ctx = &block;
}

TEST_F(DirectCommands, RootsnListsSearchNodes) {
    tn end{};
    end.tn_flags = TN_END;
    slots[1] = &end;
    tn search{};
    slots[2] = &search;
    EXPECT_EQ(captured([] { cmd_rootsn(0, 0, 0); }),
              format("tbdb_root->ta_nnodes 3\nindex    0 0x%lx\nindex    2 0x%lx\n\n",
                     number(memory.base), number(&search)));
    root.ta_nnodes = 0;
    EXPECT_EQ(captured([] { cmd_rootsn(0, 0, 0); }), "tbdb_root->ta_nnodes 0\n\n");
    root.ta_nodes = nullptr;
    EXPECT_EQ(captured([] { cmd_rootsn(0, 0, 0); }), "NULL tbm_handle\n");
    handle.tbdb_root = nullptr;
    EXPECT_EQ(captured([] { cmd_rootsn(0, 0, 0); }), "NULL tbm_handle\n");
    context.phu.tbm_handle = nullptr;
    EXPECT_EQ(captured([] { cmd_rootsn(0, 0, 0); }), "NULL tbm_handle\n");
}

namespace {

/// Last call of the fake direct-access library.
struct register_call {
    int npu;
    uint64_t address;
    int arguments[3];
    uint32_t value;
} last_register_call;

int fake_csr_read(int npu, uint64_t address, int width, int count, void *out) {
    last_register_call = {npu, address, {width, count, 0}, 0};
    const uint32_t value = 0xab;
    memcpy(out, &value, sizeof value);
    return 0x4d000001;
}

int fake_csr_write(int npu, uint64_t address, int width, int count, int flags, const void *value) {
    last_register_call = {npu, address, {width, count, flags}, 0};
    memcpy(&last_register_call.value, value, sizeof last_register_call.value);
    return 0;
}

}    // namespace

TEST_F(DirectCommands, RegisterReadChoosesNpu) {
    EXPECT_EQ(captured([] { cmd_regr32(0x40e0, 0, 0); }), "ot_csr_read not loaded\n");
    f_vector.ot_csr_read = fake_csr_read;
    struct {
        uint64_t argument;
        int npu;
    } const cases[] = {
        {0, 0}, {10, 10}, {11, 0}, {~uint64_t{0}, -1}, {0x8000000000000005, 5}, {0x100000003, 0}};
    for (const auto &c : cases) {
        EXPECT_EQ(captured([&] { cmd_regr32(0xabc40e0, c.argument, 0); }),
                  format("0x000000ab (offset:0x40e0, npu:%d, rc:0x4d000001)\n", c.npu));
        EXPECT_EQ(last_register_call.npu, c.npu);
        EXPECT_EQ(last_register_call.address, 0x534500108140e0U);
    }
    uint32_t value = 0;
    EXPECT_EQ(plu_npu_profile_read(&value), 0x4d000001);
    EXPECT_EQ(value, 0xabU);
    EXPECT_EQ(last_register_call.address, 0x56500010810fa8U);
    EXPECT_EQ(last_register_call.arguments[0], 1);
    EXPECT_EQ(last_register_call.arguments[1], 1);
}

TEST_F(DirectCommands, RegisterWriteChoosesNpu) {
    EXPECT_EQ(captured([] { cmd_regw32(0x40e0, 1, 0); }), "ot_csr_write not loaded\n");
    f_vector.ot_csr_write = fake_csr_write;
    EXPECT_EQ(captured([] { cmd_regw32(0x1fa8, 0xf12345678, 2); }),
              "0x12345678 written (offset:0x1fa8, npu:2, rc:0x0)\n");
    EXPECT_EQ(last_register_call.address, 0x53450010811fa8U);
    EXPECT_EQ(last_register_call.value, 0x12345678U);
    EXPECT_EQ(last_register_call.arguments[2], 1);
    EXPECT_EQ(captured([] { cmd_regw32(0, 0, 12); }),
              "0x00000000 written (offset:0x0, npu:0, rc:0x0)\n");
    EXPECT_EQ(last_register_call.npu, 0);
}

namespace {

std::vector<uint8_t> added;
std::vector<uint8_t> deleted;

std::vector<uint8_t> bytes_of(const pfx_entry *entry) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(entry);
    return {bytes, bytes + sizeof *entry};
}
uint32_t fake_add(const pfx_entry *entry) {
    added = bytes_of(entry);
    return 0;
}
uint32_t fake_delete(const pfx_entry *entry) {
    deleted = bytes_of(entry);
    return 0x4d7e8801;
}

std::vector<uint8_t> entry_bytes(std::vector<uint8_t> head) {
    head.resize(68);
    return head;
}

}    // namespace

TEST_F(DirectCommands, Ipv4PrefixCommands) {
    EXPECT_EQ(captured([] { cmd_addv4(1, 2, 3); }), "plu_add_entry not loaded\n");
    EXPECT_EQ(captured([] { cmd_delv4(1, 2, 3); }), "plu_delete_entry not loaded\n");
    f_vector.plu_add_entry = fake_add;
    f_vector.plu_delete_entry = fake_delete;
    EXPECT_EQ(captured([] { cmd_addv4(0xf0a0102ff, 1024 + 24, 0x71234); }),
              "plu_add_entry with pfx 0x0A0102FF 10.1.2.255/24, vrf 4660, rc 0x0\n");
    EXPECT_EQ(added, entry_bytes({1, 0x12, 0x34, 10, 1, 2, 255, 24}));
    EXPECT_EQ(captured([] { cmd_delv4(0xff000001, 33, 5); }),
              "plu_delete_entry with pfx 0xFF000001 mask 33, vrf 5, rc 0x4d7e8801\n");
    EXPECT_EQ(deleted, entry_bytes({1, 0, 5, 255, 0, 0, 1, 33}));
}

TEST_F(DirectCommands, Ipv6PrefixCommands) {
    EXPECT_EQ(captured([] { cmd_addv6(1, 2, 3); }), "plu_add_entry not loaded\n");
    EXPECT_EQ(captured([] { cmd_delv6(1, 2, 3); }), "plu_delete_entry not loaded\n");
    f_vector.plu_add_entry = fake_add;
    f_vector.plu_delete_entry = fake_delete;
    EXPECT_EQ(captured([] { cmd_addv6(0x20010db8000a0001, 0xff, 5064); }),
              "plu_add_entry pfx 0x20010DB8000A0001 0000000000000000(2001:db8:a:1::)/64, vrf 5, "
              "rc 0x0\n");
    EXPECT_EQ(added,
              entry_bytes({2, 0, 5, 0x20, 1, 0x0d, 0xb8, 0, 10, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 64}));
    EXPECT_EQ(captured([] { cmd_delv6(0x20010db8ffffffff, 1, 1200); }),
              "plu_del_entry pfx 0x20010DB8FFFFFFFF 0000000000000001(2001:db8:ffff:ffff::1)/128, "
              "vrf 1, rc 0x4d7e8801\n");
    EXPECT_EQ(deleted[19], 128);
    captured([] { cmd_delv6(~uint64_t{0}, ~uint64_t{0}, 1300); });
    EXPECT_EQ(deleted, entry_bytes({2, 0, 1, 255, 255, 255, 255, 255, 0xf0, 0,
                                    0, 0, 0, 0,   0,   0,   0,   0,   0,    44}));
}
