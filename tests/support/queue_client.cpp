#include "tests/support/queue_client.h"

#include <fcntl.h>
#include <sched.h>
#include <cstring>
#include <ctime>
#include <thread>

#include "records/request.h"

namespace {

constexpr auto patience = std::chrono::seconds(10);

timespec deadline() {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    now.tv_sec += patience.count();
    return now;
}

mqd_t open_when_there(const char *name, int flags) {
    const auto end = std::chrono::steady_clock::now() + patience;
    mqd_t queue = -1;
    while ((queue = mq_open(name, flags)) == -1 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return queue;
}

}    // namespace

void use_private_queues() {
    if (unshare(CLONE_NEWIPC) != 0) {
        static_cast<void>(unshare(CLONE_NEWUSER | CLONE_NEWIPC));
    }
}

// The reply queue is created last: once it is there, both are.
queue_client::queue_client() {
    replies_ = open_when_there(plu_reply_queue, O_RDONLY);
    requests_ = open_when_there(plu_request_queue, O_WRONLY);
}

queue_client::~queue_client() {
    mq_close(requests_);
    mq_close(replies_);
}

bool queue_client::send(const std::string &name, uint64_t a1, uint64_t a2, uint64_t a3) const {
    plu_debug_request request = {};
    memcpy(request.name, name.data(), std::min(name.size(), sizeof request.name));
    request.a1 = a1;
    request.a2 = a2;
    request.a3 = a3;
    const timespec end = deadline();
    return mq_timedsend(requests_, reinterpret_cast<const char *>(&request), sizeof request, 0,
                        &end) == 0;
}

std::optional<std::string> queue_client::receive() const {
    char message[plu_queue_message_size];
    const timespec end = deadline();
    const ssize_t length = mq_timedreceive(replies_, message, sizeof message, nullptr, &end);
    if (length < 0) {
        return std::nullopt;
    }
    return std::string(message, static_cast<size_t>(length));
}

std::optional<std::vector<std::string>> queue_client::reply() const {
    std::vector<std::string> texts;
    for (;;) {
        const std::optional<std::string> message = receive();
        if (!message) {
            return std::nullopt;
        }
        if (message->size() == plu_end_marker_size) {
            return texts;
        }
        if (message->size() != plu_text_message_size || message->back() != '\0') {
            return std::nullopt;
        }
        texts.emplace_back(message->c_str());
    }
}
