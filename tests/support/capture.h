// Capturing reply sink and hand-built records for tests.
#pragma once

#include <functional>
#include <string>
#include <vector>

/// Messages sent since the last call of capture_clear, one string per message, each cut as the real
/// sink cuts it (230 characters).
const std::vector<std::string> &captured_messages();
void capture_clear();

/// Runs `action` and returns what it sent, joined.
std::string captured(const std::function<void()> &action);

/// Runs `action` and returns what it sent, message by message.
std::vector<std::string> captured_pieces(const std::function<void()> &action);
