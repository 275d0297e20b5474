#include "console/dispatch.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <bitset>
#include <cstring>
#include <memory>

#include "console/command_table.h"
#include "shm/contexts.h"
#include "tests/console/stub_handlers.h"
#include "tests/support/capture.h"
#include "tests/support/text.h"

namespace {

using pieces = std::vector<std::string>;

pieces dispatched(const std::string &name) {
    plu_debug_request request = {};
    memcpy(request.name, name.data(), std::min(name.size(), sizeof request.name));
    request.a1 = 0x1111111111111111;
    request.a2 = 2;
    request.a3 = UINT64_MAX;
    return captured_pieces([&] { plu_debug_msg_dispatch(&request); });
}

class Dispatch : public testing::Test {
protected:
    Dispatch() {
        reset_handlers();
        fake_loader() = {};
        fake_loader().plu_shm = &plu_block;
        fake_loader().phu_shm = &phu_block;
        locate(nullptr, nullptr);
    }

    /// Healthy blocks, no function loaded, and the process's pointers as given.
    void locate(plu_shm_block *plu, phu_shm_block *phu) {
        plu_block.ready = phu_block.ready = shm_ready_mark;
        plu_block.context = context.get();
        plu_shm_ctx = plu;
        phu_shm_ctx = phu;
        plu_ctx = nullptr;
        f_vector = {};
    }

    std::unique_ptr<plu_context> context = std::make_unique<plu_context>();
    plu_shm_block plu_block = {};
    phu_shm_block phu_block = {};
};

TEST_F(Dispatch, ListingHasOneLineARowAndNoClosingLine) {
    for (const char *name : {"-h", "-H", "-help", "-HELP"}) {
        const pieces listing = dispatched(name);
        ASSERT_EQ(listing.size(), 37U) << name;
        EXPECT_EQ(listing[0], "\n");
        EXPECT_EQ(listing[1], "dump            dump \n");
        EXPECT_EQ(listing[36],
                  "showla          show all leafs in a leaf array, hex addr of leaf array\n");
    }
    EXPECT_TRUE(fake_loader().opened.empty());
}

TEST_F(Dispatch, EveryRowRunsItsOwnHandlerWithTheArguments) {
    locate(&plu_block, &phu_block);
    for (const plu_debug_command &command : msg_handler_list) {
        std::string name = command.name;
        std::transform(name.begin(), name.end(), name.begin(), toupper);
        reset_handlers();
        EXPECT_EQ(dispatched(name), (pieces{"\n", "\n"}));
        EXPECT_EQ(handler_calls(),
                  (std::vector<handler_call>{{command.name, 0x1111111111111111, 2, UINT64_MAX}}));
    }
}

TEST_F(Dispatch, UnknownNamesAreSentBackAsReceived) {
    const std::string whole(plu_command_name_size, 'x');
    for (const std::string &name :
         {std::string("dum"), std::string("Dumps"), std::string(), whole}) {
        const std::string line = "no handler for " + name + "\n";
        EXPECT_EQ(dispatched(name), (pieces{"\n", line.substr(0, 230)}));
    }
    EXPECT_EQ(captured([] { plu_debug_msg_dispatch(nullptr); }), "");
    EXPECT_TRUE(handler_calls().empty());
}

TEST_F(Dispatch, FirstCommandShowsTheLibrarysOwnPointersOnce) {
    EXPECT_EQ(dispatched("walk"),
              (pieces{"\n", format(" plu_shm_ctx %p\n", static_cast<void *>(&plu_block)),
                      format(" phu_shm_ctx %p\n", static_cast<void *>(&phu_block)), "\n"}));
    EXPECT_EQ(plu_ctx, context.get());
    EXPECT_EQ(reinterpret_cast<char *>(phu_ctx), reinterpret_cast<char *>(plu_ctx) + 2088);
    const auto moved = std::make_unique<plu_context>();    // the library may have another one later
    plu_block.context = moved.get();
    EXPECT_EQ(dispatched("walk"), (pieces{"\n", "\n"}));
    EXPECT_EQ(plu_ctx, moved.get());
    EXPECT_EQ(phu_ctx, &moved->phu);
    // A library that has not filled its variables.
    fake_loader().plu_shm = nullptr;
    fake_loader().phu_shm = nullptr;
    locate(nullptr, nullptr);
    EXPECT_EQ(dispatched("dump"), (pieces{"\n", " plu_shm_ctx (nil)\n", " phu_shm_ctx (nil)\n",
                                          "plu shm ctx not ready\n"}));
}

TEST_F(Dispatch, ContextsThatAreNotReadyKeepTheHandlerFromRunning) {
    const struct {
        const char *line;
        void (*spoil)(plu_shm_block &, phu_shm_block &);
    } cases[] = {
        {"plu shm ctx not ready\n",
         [](plu_shm_block &plu, phu_shm_block &phu) { plu.ready = phu.ready = 0xafeaafe0; }},
        {"phu shm ctx not ready\n",
         [](plu_shm_block &, phu_shm_block &phu) { phu.ready = 0xeaafeaaf; }},
        {"plu ctx is NULL\n", [](plu_shm_block &plu, phu_shm_block &) { plu.context = nullptr; }},
    };
    for (const auto &c : cases) {
        locate(&plu_block, &phu_block);
        c.spoil(plu_block, phu_block);
        EXPECT_EQ(dispatched("dump"), (pieces{"\n", c.line}));
    }
    EXPECT_TRUE(handler_calls().empty());
    EXPECT_TRUE(fake_loader().opened.empty()) << "located contexts are located once";
}

TEST_F(Dispatch, ContextsThatCannotBeLocatedAreReported) {
    fake_loader().absent_file = "libqmt_plu_phu_cmn.so";
    EXPECT_EQ(dispatched("dump"), (pieces{"\n", "dlopen() failed for libqmt_plu_phu_cmn.so \n",
                                          "plu shm ctx not ready\n"}));
    fake_loader().absent_file.clear();
    fake_loader().missing_symbol = "plu_shm_ctx";
    EXPECT_EQ(dispatched("dump"),
              (pieces{"\n", "failed to find plu_shm_ctx from dll\n", "plu shm ctx not ready\n"}));
    fake_loader().missing_symbol = "phu_shm_ctx";
    EXPECT_EQ(dispatched("dump"),
              (pieces{"\n", "failed to find phu_shm_ctx from dll\n", "phu shm ctx not ready\n"}));
    EXPECT_TRUE(handler_calls().empty());
}

/// One bit per slot of f_vector, the first one lowest.
unsigned long filled_slots() {
    void *slots[7];
    static_assert(sizeof slots == sizeof f_vector);
    memcpy(slots, &f_vector, sizeof slots);
    std::bitset<7> filled;
    for (size_t slot = 0; slot < 7; slot++) {
        filled[slot] = slots[slot] != nullptr;
    }
    return filled.to_ulong();
}

TEST_F(Dispatch, MissingFunctionsAreReportedAndTheHandlerRunsAllTheSame) {
    const struct {
        const char *file;
        const char *symbol;
        const char *line;
        unsigned long filled;
    } cases[] = {
        {"libqmt_plu.so", "", "dlopen() failed for libqmt_plu.so \n", 0},
        {"", "plu_add_entry", "failed to load plu_add_entry\n", 0},
        {"", "plu_delete_entry", "failed to load plu_delete_entry\n", 0b1},
        {"libqmt_phu.so", "", "dlopen() failed for libqmt_phu.so \n", 0b11},
        {"", "phu_lkup_entry", "failed to load phu_lkup_entry\n", 0b1000111},
        {"", "phu_search", "failed to load phu_search\n", 0b1001011},
        {"", "tbmh_count_prefixes", "failed to load tbmh_count_prefixes\n", 0b1111},
        {"libostrel_direct_access.so", "", "dlopen() failed for libostrel_direct_access.so \n",
         0b1001111},
        {"", "ot_csr_read", "failed to load ot_csr_read\n", 0b1001111},
        {"", "ot_csr_write", "failed to load ot_csr_write\n", 0b1011111},
    };
    for (const auto &c : cases) {
        locate(&plu_block, &phu_block);
        fake_loader().absent_file = c.file;
        fake_loader().missing_symbol = c.symbol;
        reset_handlers();
        EXPECT_EQ(dispatched("dump"),
                  (pieces{"\n", c.line, "failed to load phu functions\n", "\n"}));
        EXPECT_EQ(filled_slots(), c.filled) << c.line;
        EXPECT_EQ(handler_calls().size(), 1U);
    }
    // They load once they are there, and only once.
    fake_loader().missing_symbol.clear();
    fake_loader().opened.clear();
    EXPECT_EQ(dispatched("dump"), (pieces{"\n", "\n"}));
    EXPECT_EQ(filled_slots(), 0b1111111U);
    EXPECT_EQ(dispatched("dump"), (pieces{"\n", "\n"}));
    EXPECT_EQ(fake_loader().opened,
              (pieces{"libqmt_plu.so", "libqmt_phu.so", "libostrel_direct_access.so"}));
}

}    // namespace
