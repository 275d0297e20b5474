// Defines nothing but the sink and its queue, so that another one can be linked in its place.
#include "reply/reply_sink.h"

#include <mqueue.h>
#include <cstring>

#include "records/request.h"
#include "reply/reply.h"

int32_t mqr = -1;

int plu_debug_reply(const char *text) {
    char message[plu_text_message_size] = {};
    memcpy(message, text, strnlen(text, plu_reply_text_max));
    return mq_send(mqr, message, sizeof message, 0);
}
