#include "tools/plu_debug/json_reply.h"

#include <array>

#include "tools/plu_debug/default_routes.h"
#include "tools/plu_debug/json_envelope.h"

namespace client {
namespace {

class json_reader : public reply_reader {
public:
    json_reader(json_writer &json, reply_judge &judge) : json_(json), lines_(json), judge_(judge) {}

    void piece(std::string_view text) override {
        judge_.piece(text);
        lines_.take(text);
    }
    void pause() override { json_.out().flush(); }
    void close() { lines_.close(); }

private:
    json_writer &json_;
    json_lines lines_;
    reply_judge &judge_;
};

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
    begin_envelope(words, json);
    write_arguments(std::array{command.request.a1, command.request.a2, command.request.a3}, json);
    json_reader reader(json, judge);
    const exchange_result result = exchange(command.request, chosen.limits, reader);
    judge.finish();
    reader.close();
    write_counters(judge, json);
    const ending how =
        explained_misses(command.request, judge, chosen.limits, ending_of(result, judge));
    end_envelope(watch, how, json);
    return how.status;
}

exit_status run_local_as_json(const local_command &row, const std::vector<std::string> &words,
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
        how = row.run(words, chosen, report);
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
