#include "tests/support/capture.h"

#include "debug_channel/reply.h"

namespace {
std::vector<std::string> messages;
}

int plu_debug_reply(const char *text) {
    messages.push_back(std::string(text).substr(0, plu_reply_text_max));
    return 0;
}

const std::vector<std::string> &captured_messages() {
    return messages;
}

void capture_clear() {
    messages.clear();
}

std::vector<std::string> captured_pieces(const std::function<void()> &action) {
    capture_clear();
    action();
    return messages;
}

std::string captured(const std::function<void()> &action) {
    std::string joined;
    for (const std::string &message : captured_pieces(action)) {
        joined += message;
    }
    return joined;
}
