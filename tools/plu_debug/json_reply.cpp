#include "tools/plu_debug/json_reply.h"

#include <array>
#include <cstdio>

#include "tools/plu_debug/stopwatch.h"

namespace client {
namespace {

// The lines of a reply as strings of an array; a line may arrive in any number of pieces.
class json_lines : public reply_reader {
public:
    json_lines(output &out, reply_judge &judge) : out_(out), judge_(judge) {}

    void piece(std::string_view text) override {
        judge_.piece(text);
        while (!text.empty()) {
            const size_t end = text.find('\n');
            part(text.substr(0, end));
            if (end == std::string_view::npos) {
                return;
            }
            finish();
            text.remove_prefix(end + 1);
        }
    }
    void pause() override { out_.flush(); }

    /// Closes a line that was cut off.
    void finish() {
        if (open_) {
            out_.write("\"");
        }
        open_ = false;
    }

private:
    // Empty lines only frame a reply.
    void part(std::string_view text) {
        if (text.empty()) {
            return;
        }
        if (!open_) {
            out_.write(first_ ? "\n\"" : ",\n\"");
        }
        open_ = true;
        first_ = false;
        out_.write(json_escaped(text));
    }

    output &out_;
    reply_judge &judge_;
    bool first_ = true;
    bool open_ = false;
};

void write_head(const std::vector<std::string> &words, json_writer &json) {
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

void write_arguments(const plu_debug_request &request, json_writer &json) {
    json.key("arguments");
    json.begin('[');
    for (const uint64_t number : {request.a1, request.a2, request.a3}) {
        std::array<char, 24> text{};
        std::snprintf(text.data(), text.size(), "0x%lx", number);
        json.text(text.data());
    }
    json.end(']');
}

void write_tail(const char *verdict, const char *ending, const std::string &message, int status,
                json_writer &json) {
    json.text_member("verdict", verdict);
    json.text_member("outcome", ending);
    json.text_member("message", message);
    json.number_member("exit_status", status);
    json.end('}');
}

}    // namespace

void write_counters(const reply_judge &judge, json_writer &json) {
    json.key("counters");
    json.begin('{');
    for (const counter_value &value : judge.counters()) {
        json.number_member(value.row->key, value.number);
    }
    json.end('}');
}

exit_status run_as_json(const parsed_command &command, const std::vector<std::string> &words,
                        const options &chosen, json_writer &json) {
    const stopwatch watch;
    reply_judge judge(command.row == nullptr ? command.request.name : command.row->name);
    write_head(words, json);
    write_arguments(command.request, json);
    json.key("lines");
    json.begin('[');
    json_lines reader(json.out(), judge);
    const exchange_result result = exchange(command.request, chosen.limits, reader);
    reader.finish();
    json.end(']');
    write_counters(judge, json);
    json.seconds_member("seconds", watch.seconds());
    const bool done = result.kind == outcome::done;
    const exit_status status = done ? judge.status() : status_of(result.kind);
    write_tail(done ? verdict_name(judge.result()) : "incomplete", outcome_name(result.kind),
               done ? judge.reason() : result.message, status, json);
    return status;
}

void write_unsent(const std::vector<std::string> &words, const std::string &message,
                  json_writer &json) {
    write_head(words, json);
    for (const char *empty : {"arguments", "lines"}) {
        json.key(empty);
        json.item("[]");
    }
    json.key("counters");
    json.item("{}");
    json.seconds_member("seconds", 0);
    write_tail("incomplete", "not_sent", message, status_usage, json);
}

}    // namespace client
