// The stand-in platform: timers through the event loop, bounded copies, error texts.
#include <gtest/gtest.h>
#include <sys/signalfd.h>
#include <csignal>
#include <cstring>
#include <thread>

#include "platform/event.h"
#include "platform/osag.h"
#include "platform/qerr.h"

namespace {

struct served {
    int count = 0;
    std::thread::id thread;
};

int serve(void *argument) {
    auto *record = static_cast<served *>(argument);
    record->count++;
    record->thread = std::this_thread::get_id();
    return 0;
}

class EventLoop : public testing::Test {
protected:
    EventLoop() : manager(event_manager_create(0, "/dev/test", 5, &channel)) {
        context.event_manager = manager;
        context.receive_buffer = buffer;
        context.receive_size = sizeof buffer;
    }

    timer_t attach(served *record) {
        timer_t timer = nullptr;
        EXPECT_EQ(event_async_attach_proctimer(manager, 128, 0, serve, record, 10, &timer), 0);
        return timer;
    }

    static void arm(timer_t timer, long milliseconds) {
        itimerspec schedule = {};
        schedule.it_value.tv_nsec = milliseconds * 1000000;
        schedule.it_interval.tv_nsec = milliseconds * 1000000;
        EXPECT_EQ(timer_settime(timer, 0, &schedule, nullptr), 0);
    }

    uint64_t channel = 0;
    void *manager;
    event_context context = {};
    alignas(8) uint8_t buffer[128] = {};
};

TEST_F(EventLoop, ExpiriesRunTheirOwnHandlerOnTheDispatchingThread) {
    // A thread that keeps the signal unblocked must neither take it nor die of it.
    std::thread bystander([] { std::this_thread::sleep_for(std::chrono::milliseconds(100)); });
    served often;
    served never;
    attach(&never);
    arm(attach(&often), 5);
    for (int event = 0; event < 5; event++) {
        ASSERT_EQ(event_block(&context), 0);
        ASSERT_EQ(kq_event_dispatch(&context, 0), 0);
    }
    bystander.join();
    EXPECT_EQ(often.count, 5);
    EXPECT_EQ(often.thread, std::this_thread::get_id());
    EXPECT_EQ(never.count, 0);
}

TEST_F(EventLoop, SignalsOfOtherOriginRunNoHandler) {
    served record;
    attach(&record);
    sigset_t blocked;
    sigemptyset(&blocked);
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    for (int number = SIGRTMIN; number <= SIGRTMAX; number++) {
        if (sigismember(&blocked, number) == 1) {
            ASSERT_EQ(pthread_kill(pthread_self(), number), 0);
        }
    }
    ASSERT_EQ(event_block(&context), 0);
    EXPECT_EQ(kq_event_dispatch(&context, 0), -1);
    EXPECT_EQ(record.count, 0);
}

TEST_F(EventLoop, RefusesWhatItCannotServe) {
    timer_t timer = nullptr;
    int unknown = 0;
    EXPECT_EQ(event_async_attach_proctimer(&unknown, 128, 0, serve, nullptr, 10, &timer), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(event_manager_create(0, "", 5, nullptr), nullptr);
    context.receive_size = 127;
    EXPECT_EQ(event_block(&context), -1);
    context.event_manager = &unknown;
    EXPECT_EQ(event_block(&context), -1);
}

TEST(Platform, BoundedCopyTerminatesAndReportsTheSourceLength) {
    char destination[4] = "zzz";
    EXPECT_EQ(kq_strlcpy(destination, "abcdef", sizeof destination), 6U);
    EXPECT_STREQ(destination, "abc");
    EXPECT_EQ(kq_strlcpy(destination, "", sizeof destination), 0U);
    EXPECT_STREQ(destination, "");
}

TEST(Platform, ErrorCodesHaveTexts) {
    EXPECT_EQ(qerr_register_dll(6909, "qerrno/libplu_error.dll"), 0);
    EXPECT_STREQ(qerr_strerror(qerr_register_dll(6909, "")), "Invalid argument");
    EXPECT_STREQ(qerr_strerror(0x4D7E8000), "error code 0x4d7e8000");
}

TEST(Platform, LibrariesThatAreNotThereGiveNoHandle) {
    EXPECT_EQ(_dlopen("libof_no_card.so", 0), nullptr);
}

}    // namespace
