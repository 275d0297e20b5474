// bare_lookup: the least that a lookup as a command can be. Sends one "v4 10.1.2.3" and prints the
// reply.
#include <fcntl.h>
#include <mqueue.h>

#include <cstdio>

#include "records/request.h"

int main() {
    const mqd_t requests = mq_open(plu_request_queue, O_WRONLY);
    const mqd_t replies = mq_open(plu_reply_queue, O_RDONLY);
    const plu_debug_request request = {"v4", 0x0a010203, 32, 0};
    if (mq_send(requests, reinterpret_cast<const char *>(&request), sizeof request, 0) != 0) {
        return 1;
    }
    char text[plu_queue_message_size];
    ssize_t length = 0;
    while ((length = mq_receive(replies, text, sizeof text, nullptr)) == plu_text_message_size) {
        if (fputs(text, stdout) < 0) {
            return 1;
        }
    }
    return length == plu_end_marker_size ? 0 : 1;
}
