#include "client/answers/json_reply.h"

#include <array>
#include <optional>

#include "client/answers/default_routes.h"
#include "client/answers/json_envelope.h"
#include "client/answers/typed_answer.h"

namespace client {
namespace {

// Passes the pieces of a reply on to whatever makes JSON of them.
class json_reader : public reply_reader {
public:
    json_reader(json_writer &json, reply_lines &lines, text_sink *raw)
        : json_(json), lines_(lines), raw_(raw) {}

    void piece(std::string_view text) override {
        if (raw_ != nullptr) {
            raw_->take(text);
        }
        lines_.piece(text);
    }
    void pause() override { json_.out().flush(); }
    [[nodiscard]] bool wanted() const override { return json_.out().wanted(); }

private:
    json_writer &json_;
    reply_lines &lines_;
    text_sink *raw_;
};

}    // namespace

void write_counters(const reply_judge &judge, json_writer &json) {
    json.key("counters");
    json.begin('{');
    for (const counter_value &value : judge.counters()) {
        json.number_member(value.name, value.number);
    }
    json.end('}');
}

exit_status run_as_json(const parsed_command &command, const std::vector<std::string> &words,
                        const options &chosen, json_writer &json) {
    const stopwatch watch;
    const char *name = command.row == nullptr ? command.request.name : command.row->name;
    begin_envelope(words, json);
    write_arguments(std::array{command.request.a1, command.request.a2, command.request.a3}, json);
    reply_judge judge(name);
    std::optional<json_lines> raw;
    std::optional<typed_answer> answer;
    if (chosen.json_lines) {
        raw.emplace(json);
    } else {
        answer.emplace(json);
    }
    reply_lines lines(name, [&](const reply_line &line) {
        judge.take(line);
        if (answer) {
            answer->take(line);
        }
    });
    json_reader reader(json, lines, raw ? &*raw : nullptr);
    const exchange_result result = exchange(command.request, chosen.limits, reader);
    lines.finish();
    raw ? raw->close() : answer->close();
    write_counters(judge, json);
    const ending how =
        explained_misses(command.request, judge, chosen.limits, ending_of(result, judge));
    end_envelope(watch, how, json);
    return how.status;
}

exit_status run_local_as_json(const local_action &action, const std::vector<std::string> &words,
                              const options &chosen, json_writer &json) {
    const stopwatch watch;
    begin_envelope(words, json);
    write_arguments({}, json);
    json_lines lines(json);
    ending how;
    std::vector<std::pair<const char *, int64_t>> counters;
    {
        output text(lines);
        local_report report{text};
        how = action.run(words, chosen, report);
        counters = std::move(report.counters);
    }
    lines.close();
    json.key("counters");
    json.begin('{');
    for (const auto &[name, number] : counters) {
        json.number_member(name, number);
    }
    json.end('}');
    end_envelope(watch, how, json);
    return how.status;
}

}    // namespace client
