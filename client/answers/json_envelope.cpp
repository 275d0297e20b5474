#include "client/answers/json_envelope.h"

#include <array>
#include <cstdio>

namespace client {

void begin_envelope(const std::vector<std::string> &words, json_writer &json) {
    json.begin('{');
    json.number_member("schema", json_version);
    json.text_member("command", words.empty() ? "" : words[0]);
    json.key("words");
    json.begin('[');
    for (size_t i = 1; i < words.size(); ++i) {
        json.text(words[i]);
    }
    json.end(']');
    json.text_member("time", utc_now());
}

void write_arguments(std::span<const uint64_t> numbers, json_writer &json) {
    json.key("arguments");
    json.begin('[');
    for (const uint64_t number : numbers) {
        std::array<char, 24> text{};
        std::snprintf(text.data(), text.size(), "0x%lx", number);
        json.text(text.data());
    }
    json.end(']');
}

void end_envelope(const stopwatch &watch, const ending &how, json_writer &json) {
    json.seconds_member("seconds", watch.seconds());
    json.text_member("verdict", how.verdict);
    json.text_member("outcome", how.outcome);
    json.text_member("message", how.message);
    json.number_member("exit_status", how.status);
    json.end('}');
}

void write_unsent(const std::vector<std::string> &words, const ending &how, json_writer &json) {
    const stopwatch watch;
    begin_envelope(words, json);
    write_arguments({}, json);
    end_envelope(watch, how, json);
}

json_lines::json_lines(json_writer &json) : json_(json) {
    json_.key("lines");
    json_.begin('[');
}

void json_lines::take(std::string_view text) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        line_ += text.substr(0, end);
        if (end == std::string_view::npos) {
            return;
        }
        end_line();
        text.remove_prefix(end + 1);
    }
}

// Empty lines only frame a reply. Each stands on a line of its own.
void json_lines::end_line() {
    if (!line_.empty()) {
        json_.text(line_);
        json_.out().write("\n");
        line_.clear();
    }
}

void json_lines::close() {
    end_line();
    json_.end(']');
}

}    // namespace client
