#include "console/server.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "console/dispatch.h"
#include "platform/osag.h"
#include "records/request.h"
#include "reply/reply_sink.h"

namespace {

constexpr mode_t queue_mode = 0666;
constexpr unsigned receive_pause = 30;    // seconds after a failed or empty receive

// Never cleared: the arguments are always read from its last 24 bytes, also after a short request.
plu_debug_request request;
char end_marker[plu_end_marker_size];

mqd_t queue_open(const char *name) {
    mq_attr attributes = {};
    attributes.mq_maxmsg = plu_queue_depth;
    attributes.mq_msgsize = plu_queue_message_size;
    return osag_mq_open(name, O_RDWR | O_CREAT, queue_mode, &attributes);
}

void serve_next(mqd_t request_queue) {
    const ssize_t length =
        mq_receive(request_queue, reinterpret_cast<char *>(&request), sizeof request, nullptr);
    if (length <= 0) {
        sleep(receive_pause);
        return;
    }
    plu_debug_msg_dispatch(&request);
    end_marker[0] = 0;
    mq_send(mqr, end_marker, sizeof end_marker, 0);
}

}    // namespace

void *plu_debug_thread(void *) {
    umask(0);
    osag_mq_unlink(plu_request_queue);
    osag_mq_unlink(plu_reply_queue);
    const mqd_t request_queue = queue_open(plu_request_queue);
    if (request_queue == -1) {
        return nullptr;
    }
    mqr = queue_open(plu_reply_queue);
    if (mqr == -1) {
        return nullptr;
    }
    for (;;) {
        serve_next(request_queue);
    }
}
