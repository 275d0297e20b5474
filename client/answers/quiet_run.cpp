#include "client/answers/quiet_run.h"

#include "client/base/stopwatch.h"

namespace client {
namespace {

class quiet_reader : public reply_reader {
public:
    explicit quiet_reader(reply_lines &lines) : lines_(lines) {}
    void piece(std::string_view text) override { lines_.piece(text); }

private:
    reply_lines &lines_;
};

}    // namespace

quiet_result run_quietly(const plu_debug_request &request, const time_limits &limits,
                         const reply_lines::taker &take) {
    const stopwatch watch;
    quiet_result result{{}, reply_judge(request.name), 0};
    reply_lines lines(request.name, [&](const reply_line &line) {
        result.judge.take(line);
        if (take) {
            take(line);
        }
    });
    quiet_reader reader(lines);
    result.exchange = exchange(request, limits, reader);
    lines.finish();
    result.seconds = watch.seconds();
    return result;
}

quiet_result run_quietly(const char *name, uint64_t a1, const time_limits &limits,
                         const reply_lines::taker &take) {
    return run_quietly(make_request(name, a1, 0, 0), limits, take);
}

}    // namespace client
