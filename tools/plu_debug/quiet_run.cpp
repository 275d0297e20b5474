#include "tools/plu_debug/quiet_run.h"

#include "tools/plu_debug/stopwatch.h"

namespace client {
namespace {

class quiet_reader : public reply_reader {
public:
    quiet_reader(reply_judge &judge, const std::function<void(std::string_view)> &line)
        : judge_(judge), line_(line) {}

    void piece(std::string_view text) override {
        judge_.piece(text);
        if (!line_) {
            return;
        }
        if (carry_.empty() && text.ends_with('\n') && text.find('\n') == text.size() - 1) {
            line_(text.substr(0, text.size() - 1));
            return;
        }
        carry_ += text;
        size_t start = 0;
        for (size_t end = 0; (end = carry_.find('\n', start)) != std::string::npos;
             start = end + 1) {
            line_(std::string_view(carry_).substr(start, end - start));
        }
        carry_.erase(0, start);
    }

private:
    reply_judge &judge_;
    const std::function<void(std::string_view)> &line_;
    std::string carry_;
};

}    // namespace

quiet_result run_quietly(const plu_debug_request &request, const time_limits &limits,
                         const std::function<void(std::string_view)> &line) {
    const stopwatch watch;
    quiet_result result{{}, reply_judge(request.name), 0};
    quiet_reader reader(result.judge, line);
    result.exchange = exchange(request, limits, reader);
    result.judge.finish();
    result.seconds = watch.seconds();
    return result;
}

quiet_result run_quietly(const char *name, uint64_t a1, const time_limits &limits,
                         const std::function<void(std::string_view)> &line) {
    return run_quietly(make_request(name, a1, 0, 0), limits, line);
}

}    // namespace client
