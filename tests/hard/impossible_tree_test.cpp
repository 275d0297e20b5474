// Every command on trees that cannot be: they end, say so once, and stay far below the stack that a
// thread has.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>

#include "console/command_table.h"
#include "console/dispatch.h"
#include "reply/reply.h"
#include "tests/card/powered_card.h"
#include "tests/support/text.h"

namespace {

size_t stop_lines = 0;

}    // namespace

int plu_debug_reply(const char *text) {
    stop_lines += strstr(text, ", walk stopped\n") != nullptr ? 1 : 0;
    return 0;
}

namespace {

/// A chain of hinted search nodes whose 64 slots all name the next node. The last one names an end
/// node or, as a cycle, the first one. Its records lie above those of the card.
struct graft {
    static constexpr int length = 22;    // as deep as a healthy tree below a root
    tn nodes[length + 1];
    tree_array arrays[length];
    tn *slots[length][64];

    static graft *make(bool cycle, uint32_t hw_index) {
        void *at = mmap(nullptr, sizeof(graft), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                        -1, 0);
        if (at == MAP_FAILED) {
            throw std::bad_alloc();
        }
        auto *made = static_cast<graft *>(at);
        for (int i = 0; i < length; ++i) {
            tn &node = made->nodes[i];
            node.tn_flags = TN_SEARCH | tbm_stride_bits << tn_stride_shift;
            node.hint_state = HINT_SEARCH;
            node.hw_index = hw_index;
            node.sn_ebmap = node.hint_ebmap = ~uint64_t{0};
            node.sn_charray = &made->arrays[i];
            made->arrays[i] = {64, 0, 0, made->slots[i]};
            const bool closes = cycle && i + 1 == length;
            std::fill_n(made->slots[i], 64, &made->nodes[closes ? 0 : i + 1]);
        }
        made->nodes[length].tn_flags = TN_END;
        return made;
    }
};

constexpr size_t stack_size = 1 << 20;
constexpr size_t stack_allowed = 256 << 10;
constexpr auto time_allowed = std::chrono::seconds(60);    // a second or so, but under sanitizers
constexpr uint8_t paint = 0xa5;

struct service {
    plu_debug_request request;
    const uint8_t *entry;    // the thread's own frame; what lies above it belongs to the runtime
};

/// Serves one request on a thread with a stack of its own; returns the bytes of it that were used.
size_t serve(const plu_debug_request &request) {
    static auto *stack = static_cast<uint8_t *>(
        mmap(nullptr, stack_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    memset(stack, paint, stack_size);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, stack_size);
    pthread_t thread = {};
    const auto run = [](void *argument) -> void * {
        auto *job = static_cast<service *>(argument);
        job->entry = static_cast<const uint8_t *>(__builtin_frame_address(0));
        plu_debug_msg_dispatch(&job->request);
        return nullptr;
    };
    service job{request, nullptr};
    EXPECT_EQ(pthread_create(&thread, &attributes, run, &job), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const uint8_t *touched =
        std::find_if(stack, stack + stack_size, [](uint8_t byte) { return byte != paint; });
    return static_cast<size_t>(job.entry - touched);
}

class ImpossibleTree : public testing::Test {
protected:
    ImpossibleTree() : card(powered_card()) {
        card.add("10.1.2.0/24");
        card.add("10.1.0.0/16", 5);
        card.add("2001:db8::/32", 200);
        root = card.fixed().root_slots[0];
    }

    /// Hangs a subtree into a free root slot.
    graft *hang(bool cycle) {
        graft *made = graft::make(cycle, root->hw_index);
        card.fixed().root_slots[4095] = made->nodes;
        return made;
    }

    /// Serves every command and prints which one needed most stack; returns how often one said that
    /// its walk stopped.
    size_t serve_commands(const graft *below) {
        size_t deepest = 0;
        size_t stopped = 0;
        std::string deepest_name;
        for (const plu_debug_command &command : msg_handler_list) {
            const bool of_node = strncmp(command.name, "tn", 2) == 0;
            plu_debug_request request{};
            strcpy(request.name, command.name);
            request.a1 = of_node ? number(below->nodes + 1) : 0;
            request.a2 = of_node ? 15 : 0;
            stop_lines = 0;
            const auto begin = std::chrono::steady_clock::now();
            const size_t used = serve(request);
            EXPECT_LT(std::chrono::steady_clock::now() - begin, time_allowed) << command.name;
            stopped += stop_lines;
            EXPECT_LE(stop_lines, strcmp(command.name, "ckall") == 0 ? 5U : 1U) << command.name;
            EXPECT_LT(used, stack_allowed) << command.name;
            if (used > deepest) {
                deepest = used;
                deepest_name = command.name;
            }
        }
        printf("deepest stack: %s, %zu bytes\n", deepest_name.c_str(), deepest);
        return stopped;
    }

    simcard::Card &card;
    tn *root;
};

TEST_F(ImpossibleTree, EveryCommandEndsOnACycle) {
    EXPECT_GT(serve_commands(hang(true)), 10U);
}

TEST_F(ImpossibleTree, EveryCommandEndsOnSubtreesThatAreSharedAtEveryLevel) {
    EXPECT_GT(serve_commands(hang(false)), 10U);
}

TEST_F(ImpossibleTree, TheSearchForATypedNodeEndsOnACycle) {
    hang(true);
    tn outside{};
    outside.tn_flags = TN_END;
    plu_debug_request request{};
    strcpy(request.name, "tn");
    request.a1 = number(&outside);
    stop_lines = 0;
    serve(request);
    EXPECT_EQ(stop_lines, 0U);
}

}    // namespace
