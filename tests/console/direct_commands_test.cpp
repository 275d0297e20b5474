#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstring>
#include <string>
#include <vector>

#include "console/commands.h"
#include "phu/registers.h"
#include "reply/refusals.h"
#include "reply/unreadable.h"
#include "shm/contexts.h"
#include "shm/readable_memory.h"
#include "tbm/access.h"
#include "tbm/commands.h"
#include "tests/support/capture.h"
#include "tests/support/text.h"

namespace {

constexpr size_t page = 4096;

/// A tree whose root table has three slots; the node of slot 0 opens the first page.
class DirectCommands : public testing::Test {
protected:
    void SetUp() override {
        mprotect(base + page, page, PROT_READ);
        munmap(base + 2 * page, page);
        plu_shm_ctx = &block;
        plu_ctx = &context;
        phu_ctx = &context.phu;
        context.phu.tbm_handle = &handle;
        handle.tbdb_root = &root;
        root = {3, 0, 0, slots};
        slots[0] = reinterpret_cast<tn *>(base);
    }
    void TearDown() override {
        munmap(base, 2 * page);
        context.phu.tbm_handle = nullptr;
        f_vector = {};
    }

    static inline plu_context context{};
    static inline plu_shm_block block{};
    // Three pages: readable and writable, read-only, not mapped.
    uint8_t *base = static_cast<uint8_t *>(
        mmap(nullptr, 3 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    tbm_handle_record handle{};
    tree_array root{};
    tn *slots[3] = {};
};

}    // namespace

TEST_F(DirectCommands, GuardAsksEveryPageAndNeverWraps) {
    const uint64_t at = number(base);
    struct {
        uint64_t address;
        size_t size;
        bool readable;
    } const cases[] = {
        {at, 2 * page, true},
        {at + page - 1, 2, true},
        {at + 2 * page - 1, 2, false},
        {at, 2 * page + 1, false},
        {at, ~size_t{0}, false},
        {~uint64_t{0}, 2, false},
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

TEST(ReadableMemory, IsAskedAnewWhenTheSharedMemoryIsAnother) {
    constexpr size_t run = 0x10000;    // remembered as a whole
    auto *area = static_cast<uint8_t *>(
        mmap(nullptr, 5 * run, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    const uint8_t *first = area + (run - number(area) % run);
    const uint8_t *second = first + 2 * run;
    const auto holds = [](const uint8_t *at) {
        return readable_memory::holds(reinterpret_cast<const tn *>(at));
    };
    mprotect(const_cast<uint8_t *>(second), run, PROT_NONE);
    for (const uint8_t *block : {first, second, first}) {
        readable_memory::look_from(block);
        EXPECT_EQ(holds(block), block == first);
    }
    readable_memory::look_from(first + run);    // outside of it each command asks anew
    EXPECT_TRUE(holds(first));
    mprotect(const_cast<uint8_t *>(first), run, PROT_NONE);
    unreadable_begin();
    EXPECT_FALSE(holds(first));
    munmap(area, 5 * run);
}

TEST_F(DirectCommands, MemrDumpsGroupsOfFourAndLinesOfSixteen) {
    for (int i = 0; i < 40; ++i) {
        base[i] = static_cast<uint8_t>(0xf0 + i);
    }
    const std::string head = format("read start from 0x%lx", number(base));
    const auto dump = [&](uint64_t size) { return reply_of(cmd_memr, number(base), size); };
    for (const int64_t none : {int64_t{0}, int64_t{-1}, INT64_MIN}) {
        EXPECT_EQ(dump(static_cast<uint64_t>(none)), head + "\n");
    }
    EXPECT_EQ(dump(5), head + "\n0x0000   f0f1f2f3 f4\n");
    EXPECT_EQ(dump(17), head + "\n0x0000   f0f1f2f3 f4f5f6f7 f8f9fafb fcfdfeff\n0x0010   00\n");
    const std::vector<std::string> pieces = pieces_of(cmd_memr, number(base), 5, 0);
    EXPECT_EQ(pieces, (std::vector<std::string>{head, "\n0x0000  ", " ", "f0", "f1", "f2", "f3",
                                                " ", "f4", "\n"}));
}

TEST_F(DirectCommands, MemoryCommandsKeepToTheSharedRange) {
    const uint64_t start = number(base);
    const uint64_t end = start + 0x180000000;
    const std::string refusal = format(
        "PHU shared mem range: addr 0x%lx - 0x%lx, set a3 = 1 to bypass check\n", start, end);
    for (const command_function command : {cmd_memr, cmd_memw8, cmd_memw32}) {
        for (const uint64_t outside : {start - 1, end + 1, ~uint64_t{0}}) {
            EXPECT_EQ(reply_of(command, outside, 5000, 0), refusal);
        }
    }
    // The end itself passes the range check; here nothing is mapped there.
    EXPECT_EQ(reply_of(cmd_memr, end, 1), format("address 0x%lx is not readable\n", end));
    for (const command_function command : {cmd_memw8, cmd_memw32}) {
        EXPECT_EQ(reply_of(command, end, 1), format("address 0x%lx is not readable\n", end));
        EXPECT_EQ(reply_of(command, start, 0x5a),
                  format("write 0x%0*x to 0x%lx\n", command == cmd_memw8 ? 2 : 8, 0x5a, start));
        EXPECT_EQ(*reinterpret_cast<const uint8_t *>(start), 0x5a);
    }
    EXPECT_EQ(reply_of(cmd_memr, start, 4001),
              "read size > 4000, set a3 = 1 to bypass the check\n");
    EXPECT_EQ(pieces_of(cmd_memr, start, 4000, 0).size(), 1U + 250 + 1000 + 4000 + 1);
    EXPECT_EQ(pieces_of(cmd_memr, start, 4001, 1).size(), 1U + 251 + 1001 + 4001 + 1);
}

TEST_F(DirectCommands, BypassReachesMemoryOutsideTheRange) {
    uint32_t target = 0x11223344;
    slots[0] = nullptr;
    for (const command_function command : {cmd_memr, cmd_memw8, cmd_memw32}) {
        EXPECT_EQ(reply_of(command, number(&target), 4, 0), "NULL tbm_handle\n");
    }
    EXPECT_EQ(target, 0x11223344U);
    EXPECT_EQ(reply_of(cmd_memw32, number(&target), 0xcbbccddeeU, 1),
              format("write 0xbbccddee to 0x%lx\n", number(&target)));
    EXPECT_EQ(reply_of(cmd_memr, number(&target), 4, 1),
              format("read start from 0x%lx\n0x0000   eeddccbb\n", number(&target)));
}

TEST_F(DirectCommands, StoresTouchNoNeighbour) {
    uint8_t *at = base + 1;    // at no alignment
    memset(at, 0x77, 8);
    EXPECT_EQ(reply_of(cmd_memw32, number(at + 2), 0x00000102),
              format("write 0x00000102 to 0x%lx\n", number(at + 2)));
    EXPECT_EQ(reply_of(cmd_memw8, number(at), 0x1ff), format("write 0xff to 0x%lx\n", number(at)));
    const uint8_t expected[8] = {0xff, 0x77, 2, 1, 0, 0, 0x77, 0x77};
    EXPECT_EQ(memcmp(at, expected, 8), 0);
}

TEST_F(DirectCommands, StoreThatWouldFaultIsRefusedWholly) {
    const uint64_t read_only = number(base + page);
    for (const uint64_t bypass : {0, 1}) {
        EXPECT_EQ(reply_of(cmd_memw8, read_only, 1, bypass),
                  format("address 0x%lx is not writable\n", read_only));
        EXPECT_EQ(reply_of(cmd_memw32, read_only - 2, 0xffffffff, bypass),
                  format("address 0x%lx is not writable\n", read_only - 2));
        EXPECT_EQ(reply_of(cmd_memw32, read_only + page - 2, 1, bypass),
                  format("address 0x%lx is not readable\n", read_only + page - 2));
    }
    EXPECT_EQ(base[page - 2], 0);
    EXPECT_EQ(reply_of(cmd_memr, 0x10, 4, 1), "address 0x10 is not readable\n");
}

TEST_F(DirectCommands, SetbmsfWritesSearchNodesOnly) {
    auto *node = reinterpret_cast<tn *>(base);
    plu_shm_ctx = reinterpret_cast<plu_shm_block *>(base);
    EXPECT_EQ(reply_of(cmd_setbmsf, number(node) - 1, 3),
              format("invalid tn addr: 0x%lx\n", number(node) - 1));
    EXPECT_EQ(reply_of(cmd_setbmsf, number(node), 0x118),
              format("set bmsf 24 to tn 0x%lx", number(node)));
    EXPECT_EQ(node->bmsf, 24);
    for (const uint16_t type : {TN_INTERN, TN_LEAF, TN_END}) {
        node->tn_flags = type;
        EXPECT_EQ(reply_of(cmd_setbmsf, number(node), 7), "skip setting bmsf for internal node\n");
        EXPECT_EQ(node->bmsf, 24);
    }
    const uint64_t read_only = number(base + page);
    EXPECT_EQ(reply_of(cmd_setbmsf, read_only, 7),
              format("address 0x%lx is not writable\n", read_only));
    EXPECT_EQ(reply_of(cmd_setbmsf, read_only + page - 100, 7),
              format("address 0x%lx is not readable\n", read_only + page - 100));
}

TEST_F(DirectCommands, RootsnListsSearchNodes) {
    tn end{};
    end.tn_flags = TN_END;
    slots[1] = &end;
    tn search{};
    slots[2] = &search;
    EXPECT_EQ(reply_of(cmd_rootsn),
              format("tbdb_root->ta_nnodes 3\nindex    0 0x%lx\nindex    2 0x%lx\n\n", number(base),
                     number(&search)));
    root.ta_nnodes = 0;
    EXPECT_EQ(reply_of(cmd_rootsn), "tbdb_root->ta_nnodes 0\n\n");
    root.ta_nodes = nullptr;
    EXPECT_EQ(reply_of(cmd_rootsn), "NULL tbm_handle\n");
    handle.tbdb_root = nullptr;
    EXPECT_EQ(reply_of(cmd_rootsn), "NULL tbm_handle\n");
    context.phu.tbm_handle = nullptr;
    EXPECT_EQ(reply_of(cmd_rootsn), "NULL tbm_handle\n");
}

namespace {

std::vector<uint64_t> register_call;    // arguments of the last one

int fake_csr_read(int npu, uint64_t address, int width, int count, void *out) {
    register_call = {static_cast<uint64_t>(npu), address, static_cast<uint64_t>(width),
                     static_cast<uint64_t>(count)};
    const uint32_t value = 0xab;
    memcpy(out, &value, sizeof value);
    return 0x4d000001;
}

int fake_csr_write(int npu, uint64_t address, int width, int count, int flags, const void *value) {
    uint32_t written = 0;
    memcpy(&written, value, sizeof written);
    register_call = {static_cast<uint64_t>(npu),   address,
                     static_cast<uint64_t>(width), static_cast<uint64_t>(count),
                     static_cast<uint64_t>(flags), written};
    return 0;
}

std::vector<uint8_t> last_entry;

uint32_t fake_add(const pfx_entry *entry) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(entry);
    last_entry.assign(bytes, bytes + sizeof *entry);
    return 0;
}
uint32_t fake_delete(const pfx_entry *entry) {
    return fake_add(entry) + 0x4d7e8801;
}

}    // namespace

TEST_F(DirectCommands, RegisterCommandsChooseTheNpu) {
    using numbers = std::vector<uint64_t>;
    EXPECT_EQ(reply_of(cmd_regr32, 0x40e0), "ot_csr_read not loaded\n");
    EXPECT_EQ(reply_of(cmd_regw32, 0x40e0, 1), "ot_csr_write not loaded\n");
    f_vector.ot_csr_read = fake_csr_read;
    f_vector.ot_csr_write = fake_csr_write;
    const struct {
        uint64_t argument;
        int npu;
    } cases[] = {{10, 10}, {11, 0}, {~uint64_t{0}, -1}, {0x8000000000000005, 5}, {0x100000003, 0}};
    for (const auto &c : cases) {
        const auto npu = static_cast<uint64_t>(c.npu);
        EXPECT_EQ(reply_of(cmd_regr32, 0xabc40e0, c.argument),
                  format("0x000000ab (offset:0x40e0, npu:%d, rc:0x4d000001)\n", c.npu));
        EXPECT_EQ(register_call, (numbers{npu, 0x534500108140e0, 1, 1}));
        EXPECT_EQ(reply_of(cmd_regw32, 0x1fa8, 0xf12345678, c.argument),
                  format("0x12345678 written (offset:0x1fa8, npu:%d, rc:0x0)\n", c.npu));
        EXPECT_EQ(register_call, (numbers{npu, 0x53450010811fa8, 1, 1, 1, 0x12345678}));
    }
    f_vector.ot_csr_write = [](int, uint64_t, int, int, int, const void *value) {
        const uint32_t kept = 0x78;    // the register has fewer bits
        memcpy(const_cast<void *>(value), &kept, sizeof kept);
        return 0;
    };
    EXPECT_EQ(reply_of(cmd_regw32, 0x1fa8, 0x12345678),
              "0x00000078 written (offset:0x1fa8, npu:0, rc:0x0)\n");
    uint32_t value = 0;
    EXPECT_EQ(plu_npu_profile_read(&value), 0x4d000001);
    EXPECT_EQ(value, 0xabU);
    EXPECT_EQ(register_call[1], 0x56500010810fa8U);
}

TEST_F(DirectCommands, PrefixCommandsBuildTheEntryByteByByte) {
    for (const command_function command : {cmd_addv4, cmd_addv6}) {
        EXPECT_EQ(reply_of(command, 1, 2, 3), "plu_add_entry not loaded\n");
    }
    for (const command_function command : {cmd_delv4, cmd_delv6}) {
        EXPECT_EQ(reply_of(command, 1, 2, 3), "plu_delete_entry not loaded\n");
    }
    f_vector.plu_add_entry = fake_add;
    f_vector.plu_delete_entry = fake_delete;
    const uint64_t high = 0x20010db8000a0101;
    const struct {
        command_function command;
        uint64_t arguments[3];
        const char *reply;
        std::vector<uint8_t> head;    // the rest of the entry is 0
    } cases[] = {
        {cmd_addv4,
         {0xf0a0102ff, 1024 + 24, 0x71234},
         "plu_add_entry with pfx 0x0A0102FF 10.1.2.255/24, vrf 4660, rc 0x0\n",
         {1, 0x12, 0x34, 10, 1, 2, 255, 24}},
        {cmd_delv4,
         {0xff000001, 33, 5},
         "plu_delete_entry with pfx 0xFF000001 mask 33, vrf 5, rc 0x4d7e8801\n",
         {1, 0, 5, 255, 0, 0, 1, 33}},
        {cmd_addv6,
         {high, 0xff, 5064},
         "plu_add_entry pfx 0x20010DB8000A0101 0000000000000000(2001:db8:a:101::)/64, vrf 5, "
         "rc 0x0\n",
         {2, 0, 5, 0x20, 1, 0x0d, 0xb8, 0, 10, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 64}},
        {cmd_delv6,
         {high, 0x101, 1200},
         "plu_del_entry pfx 0x20010DB8000A0101 0000000000000101(2001:db8:a:101::101)/128, "
         "vrf 1, rc 0x4d7e8801\n",
         {2, 0, 1, 0x20, 1, 0x0d, 0xb8, 0, 10, 1, 1, 0, 0, 0, 0, 0, 0, 1, 1, 128}},
    };
    for (const auto &c : cases) {
        std::vector<uint8_t> expected = c.head;
        expected.resize(68);
        EXPECT_EQ(reply_of(c.command, c.arguments[0], c.arguments[1], c.arguments[2]), c.reply);
        EXPECT_EQ(last_entry, expected) << c.reply;
    }
    reply_of(cmd_delv6, ~uint64_t{0}, ~uint64_t{0}, 1300);
    EXPECT_EQ(last_entry[8], 0xf0);
    EXPECT_EQ(last_entry[19], 44);
}
