#include "tools/plu_debug/json_envelope.h"

#include <array>
#include <cstdio>

namespace client {

void begin_envelope(const std::vector<std::string> &words, json_writer &json) {
    json.begin('{');
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
    json_lines(json).close();
    json.key("counters");
    json.item("{}");
    end_envelope(watch, how, json);
}

json_lines::json_lines(json_writer &json) : json_(json) {
    json_.key("lines");
    json_.begin('[');
}

void json_lines::take(std::string_view text) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        part(text.substr(0, end));
        if (end == std::string_view::npos) {
            return;
        }
        end_line();
        text.remove_prefix(end + 1);
    }
}

// Empty lines only frame a reply.
void json_lines::part(std::string_view text) {
    if (text.empty()) {
        return;
    }
    if (!open_) {
        json_.out().write(first_ ? "\n\"" : ",\n\"");
    }
    open_ = true;
    first_ = false;
    json_.out().write(json_escaped(text));
}

void json_lines::end_line() {
    if (open_) {
        json_.out().write("\"");
    }
    open_ = false;
}

void json_lines::close() {
    end_line();
    json_.end(']');
}

}    // namespace client
