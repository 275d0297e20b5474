#include "tests/support/capture.h"

#include <gtest/gtest.h>

#include "reply/reply.h"
#include "reply/unreadable.h"
#include "tests/support/form_print.h"

std::function<void()> after_message;

namespace {
std::vector<std::string> messages;

/// Whatever a command makes of a card, the client knows every line of it.
void expect_known_lines() {
    client::reply_lines lines(
        "*", [](const client::reply_line &line) { EXPECT_EQ(form_fault(line), ""); });
    for (const std::string &message : messages) {
        lines.piece(message);
    }
    lines.finish();
}

}    // namespace

int plu_debug_reply(const char *text) {
    messages.push_back(std::string(text).substr(0, plu_reply_text_max));
    if (after_message) {
        after_message();
    }
    return 0;
}

std::vector<std::string> captured_pieces(const std::function<void()> &action) {
    messages.clear();
    unreadable_begin();
    action();
    unreadable_end();
    expect_known_lines();
    return messages;
}

std::string captured(const std::function<void()> &action) {
    std::string joined;
    for (const std::string &message : captured_pieces(action)) {
        joined += message;
    }
    return joined;
}
