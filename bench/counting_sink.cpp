#include "bench/counting_sink.h"

#include <cstring>

#include "reply/reply.h"

namespace {
reply_totals totals;
std::string *kept = nullptr;
}    // namespace

int plu_debug_reply(const char *text) {
    const size_t length = strnlen(text, plu_reply_text_max);
    ++totals.messages;
    totals.bytes += length;
    if (kept != nullptr) {
        kept->append(text, length);
    }
    return 0;
}

const reply_totals &replies_sent() {
    return totals;
}

std::string replies_of(const std::function<void()> &action) {
    std::string text;
    kept = &text;
    action();
    kept = nullptr;
    return text;
}
