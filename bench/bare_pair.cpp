#include "bench/bare_pair.h"

#include <mqueue.h>
#include <poll.h>
#include <sched.h>

#include <chrono>

#include "bench/child.h"
#include "records/request.h"

namespace {

using clock_type = std::chrono::steady_clock;
constexpr char pair_queue[] = "/plu_bench_pair";

void stay_on_core_0() {
    cpu_set_t core;
    CPU_ZERO(&core);
    CPU_SET(0, &core);
    sched_setaffinity(0, sizeof core, &core);
}

void send_all(long messages) {
    const mqd_t queue = mq_open(pair_queue, O_WRONLY);
    char message[plu_text_message_size] = "A U4 10.1.2.0/24 0 #\n";
    for (long i = 0; i < messages; ++i) {
        mq_send(queue, message, sizeof message, 0);
    }
}

/// Polls a moment for the next message, then sleeps until there is one.
void receive_next(mqd_t queue, char (&message)[plu_queue_message_size], waiting how) {
    constexpr auto polling_time = std::chrono::microseconds(50);
    const auto start = clock_type::now();
    while (mq_receive(queue, message, sizeof message, nullptr) < 0) {
        if (how != waiting::polls || clock_type::now() - start > polling_time) {
            pollfd entry{queue, POLLIN, 0};
            poll(&entry, 1, -1);
        } else {
            for (int i = 0; i < 8; ++i) {
                __builtin_ia32_pause();
            }
        }
    }
}

}    // namespace

double bare_pair(long messages, waiting how) {
    mq_attr attributes{};
    attributes.mq_maxmsg = plu_queue_depth;
    attributes.mq_msgsize = plu_queue_message_size;
    const int access = O_RDWR | O_CREAT | (how == waiting::blocks ? 0 : O_NONBLOCK);
    const mqd_t queue = mq_open(pair_queue, access, 0600, &attributes);
    if (queue == -1) {
        return -1;
    }
    const auto start = clock_type::now();
    child receiver([&] {
        if (how == waiting::one_core) {
            stay_on_core_0();
        }
        char message[plu_queue_message_size];
        for (long i = 0; i < messages; ++i) {
            receive_next(queue, message, how);
        }
    });
    child sender([&] {
        if (how == waiting::one_core) {
            stay_on_core_0();
        }
        send_all(messages);
    });
    const bool done = sender.wait() && receiver.wait();
    const double elapsed = std::chrono::duration<double>(clock_type::now() - start).count();
    mq_close(queue);
    mq_unlink(pair_queue);
    return done ? elapsed : -1;
}
