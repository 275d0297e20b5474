// Defines nothing but the sink, so that another one can be linked in its place.
#include <mqueue.h>
#include <cstring>

#include "debug_channel/reply.h"
#include "debug_channel/request.h"
#include "debug_channel/server.h"

int plu_debug_reply(const char *text) {
    char message[plu_text_message_size] = {};
    memcpy(message, text, strnlen(text, plu_reply_text_max));
    return mq_send(mqr, message, sizeof message, 0);
}
