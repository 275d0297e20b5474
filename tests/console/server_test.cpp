// The server over real queues, in the test's own process.
#include "console/server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <mqueue.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>
#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <semaphore>
#include <thread>

#include "records/request.h"
#include "reply/reply.h"
#include "shm/contexts.h"
#include "tests/console/stub_handlers.h"

namespace {

constexpr auto patience = std::chrono::seconds(10);
std::counting_semaphore pauses(0);
std::atomic<unsigned> last_pause = 0;

}    // namespace

/// In the place of the C library's: the server pauses for so long that a test cannot wait for it.
extern "C" unsigned sleep(unsigned seconds) {
    last_pause = seconds;
    pauses.release();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return 0;
}

namespace {

using texts = std::vector<std::string>;

timespec deadline() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    now.tv_sec += patience.count();
    return now;
}

/// Both queues of the server, closed with their owner.
class queue_client {
public:
    queue_client() = default;
    ~queue_client() {
        mq_close(requests);
        mq_close(replies);
    }
    queue_client(const queue_client &) = delete;
    queue_client &operator=(const queue_client &) = delete;
    queue_client(queue_client &&) = delete;
    queue_client &operator=(queue_client &&) = delete;

    bool send(const std::string &name, uint64_t a1 = 0, uint64_t a2 = 0, uint64_t a3 = 0) const {
        plu_debug_request request = {};
        memcpy(request.name, name.data(), std::min(name.size(), sizeof request.name));
        request.a1 = a1;
        request.a2 = a2;
        request.a3 = a3;
        const timespec end = deadline();
        return mq_timedsend(requests, reinterpret_cast<const char *>(&request), sizeof request, 0,
                            &end) == 0;
    }

    /// Next message as it came; nothing when none came in time.
    std::optional<std::string> receive() const {
        char message[plu_queue_message_size];
        const timespec end = deadline();
        const ssize_t length = mq_timedreceive(replies, message, sizeof message, nullptr, &end);
        if (length < 0) {
            return std::nullopt;
        }
        return std::string(message, static_cast<size_t>(length));
    }

    /// Texts of one reply up to its end marker; nothing when the marker did not come. Every text
    /// message must be 232 bytes long and end in a NUL.
    std::optional<std::vector<std::string>> reply() const {
        std::vector<std::string> lines;
        for (;;) {
            const std::optional<std::string> message = receive();
            if (!message) {
                return std::nullopt;
            }
            if (message->size() == plu_end_marker_size) {
                return lines;
            }
            if (message->size() != plu_text_message_size || message->back() != '\0') {
                return std::nullopt;
            }
            lines.emplace_back(message->c_str());
        }
    }

    const mqd_t requests = mq_open(plu_request_queue, O_WRONLY);
    const mqd_t replies = mq_open(plu_reply_queue, O_RDONLY);
};

/// A queue of another shape with a message left in it, as a killed process may leave it.
void leave_stale_queue(const char *name) {
    mq_unlink(name);
    mq_attr attributes = {};
    attributes.mq_maxmsg = 3;
    attributes.mq_msgsize = 64;
    const mqd_t queue = mq_open(name, O_RDWR | O_CREAT, 0600, &attributes);
    ASSERT_NE(queue, -1);
    EXPECT_EQ(mq_send(queue, "stale", 5, 0), 0);
    mq_close(queue);
}

class Server : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (unshare(CLONE_NEWIPC) != 0) {    // queues of its own, where the system allows it
            static_cast<void>(unshare(CLONE_NEWUSER | CLONE_NEWIPC));
        }
        leave_stale_queue(plu_request_queue);
        leave_stale_queue(plu_reply_queue);
        umask(077);
        plu_block.ready = shm_ready_mark;
        phu_block.ready = shm_ready_mark;
        plu_block.context = context.get();
        plu_shm_ctx = &plu_block;
        phu_shm_ctx = &phu_block;
        std::thread(plu_debug_thread, nullptr).detach();
        wait_for_new_queues();
    }

    // The server thread outlives the test: nothing of it may be in use when the process ends.
    void TearDown() override { reset_handlers(); }

    static void wait_for_new_queues() {
        for (int tries = 0; tries < 1000; tries++) {
            const mqd_t queue = mq_open(plu_reply_queue, O_RDONLY);
            mq_attr attributes = {};
            mq_getattr(queue, &attributes);
            mq_close(queue);
            if (attributes.mq_msgsize == plu_queue_message_size) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        FAIL() << "the server did not replace the stale queues";
    }

    /// The reply to a command whose handler sends one text; opening and closing lines taken off.
    std::string echoed(const std::string &text) {
        reset_handlers([text](const handler_call &) { plu_debug_printf("%s", text.c_str()); });
        EXPECT_TRUE(client.send("walk"));
        const std::optional<texts> reply = client.reply();
        return reply && reply->size() == 3 ? (*reply)[1] : "no such reply";
    }

    static inline plu_shm_block plu_block = {};
    static inline phu_shm_block phu_block = {};
    static inline const std::unique_ptr<plu_context> context = std::make_unique<plu_context>();
    queue_client client;
};

TEST_F(Server, ReplacesStaleQueuesByOpenOnesUnderAnyUmask) {
    for (const mqd_t queue : {client.requests, client.replies}) {
        struct stat status = {};
        ASSERT_EQ(fstat(queue, &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0666U);
        mq_attr attributes = {};
        ASSERT_EQ(mq_getattr(queue, &attributes), 0);
        EXPECT_EQ(attributes.mq_maxmsg, 10);
        EXPECT_EQ(attributes.mq_msgsize, 256);
        EXPECT_EQ(attributes.mq_curmsgs, 0);
    }
}

TEST_F(Server, ListingEndsWithTheOnlyWideMessage) {
    ASSERT_TRUE(client.send("-h"));
    for (int line = 0; line < 37; line++) {
        const std::optional<std::string> message = client.receive();
        ASSERT_TRUE(message);
        ASSERT_EQ(message->size(), 232U);
        EXPECT_EQ(message->find_first_not_of('\0', message->find('\0')), std::string::npos);
    }
    EXPECT_EQ(client.receive(), std::string(256, '\0'));
}

TEST_F(Server, TextsAreCutAfter230Characters) {
    const std::string fits(230, 'a');
    EXPECT_EQ(echoed(fits), fits);
    EXPECT_EQ(echoed(fits + "b"), fits);
    EXPECT_EQ(echoed(std::string(100000, 'c')), std::string(230, 'c'));
    EXPECT_EQ(echoed(""), "");
}

TEST_F(Server, ShortRequestKeepsTheArgumentsOfTheOneBefore) {
    reset_handlers();
    ASSERT_TRUE(client.send("dump", 7, 8, 9));
    ASSERT_TRUE(client.reply());
    ASSERT_EQ(mq_send(client.requests, "walk", 5, 0), 0);
    ASSERT_TRUE(client.reply());
    EXPECT_EQ(handler_calls().back(), (handler_call{"walk", 7, 8, 9}));
}

/// The server's own descriptor of a queue.
int server_descriptor(const char *name, int clients) {
    for (int descriptor = 0; descriptor < 100; ++descriptor) {
        char link[64] = {};
        const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
        if (readlink(path.c_str(), link, sizeof link - 1) > 0 && descriptor != clients &&
            strcmp(link, name) == 0) {
            return descriptor;
        }
    }
    return -1;
}

/// Runs something while a descriptor is not there.
void without(int descriptor, const std::function<void()> &action) {
    const int kept = dup(descriptor);
    close(descriptor);
    action();
    dup2(kept, descriptor);
    close(kept);
}

TEST_F(Server, QueuesThatBecomeUnusableCostTheirMessagesAlone) {
    without(server_descriptor(plu_reply_queue, client.replies), [&] {
        reset_handlers([](const handler_call &) { plu_debug_printf("lost"); });
        ASSERT_TRUE(client.send("walk"));
        ASSERT_EQ(mq_send(client.requests, "", 0, 0), 0);    // no request
        ASSERT_TRUE(pauses.try_acquire_for(patience));
        EXPECT_EQ(handler_calls().size(), 1U);
    });
    mq_attr attributes = {};
    mq_getattr(client.replies, &attributes);
    EXPECT_EQ(attributes.mq_curmsgs, 0);
    without(server_descriptor(plu_request_queue, client.requests), [&] {
        ASSERT_TRUE(client.send("walk"));    // served before or after
        for (int i = 0; i < 2; ++i) {
            ASSERT_TRUE(pauses.try_acquire_for(patience));
        }
    });
    EXPECT_EQ(client.reply(), (texts{"\n", "lost", "\n"}));
    EXPECT_EQ(echoed("as ever"), "as ever");
    EXPECT_EQ(last_pause, 30U);
}

// The last one: later tests of this process would find no queue.
TEST_F(Server, UnlinkedQueuesServeTheClientsThatHaveThem) {
    mq_unlink(plu_request_queue);
    mq_unlink(plu_reply_queue);
    EXPECT_EQ(echoed("still here"), "still here");
    EXPECT_EQ(mq_open(plu_request_queue, O_WRONLY), -1);
}

}    // namespace
