#include "tools/plu_debug/record.h"

#include <unistd.h>

#include "tools/plu_debug/quiet_run.h"
#include "tools/plu_debug/whole_file.h"

namespace client {
namespace {

constexpr uint64_t walk_recording = 11;
constexpr std::chrono::milliseconds on_a_terminal{200};
constexpr std::chrono::milliseconds in_a_log{5000};

// A count that grows in place on a terminal, and line by line elsewhere.
class progress {
public:
    void count() {
        ++count_;
        if (count_ % 4096 == 0 && std::chrono::steady_clock::now() >= next_) {
            show(terminal_ ? "\r" : "\n");
        }
    }
    void finish(const char *word) {
        show(terminal_ ? "\r" : "\n", word);
        if (terminal_) {
            (void)!write(STDERR_FILENO, "\n", 1);
        }
    }
    [[nodiscard]] size_t total() const { return count_; }

private:
    void show(const char *end, const char *word = "recorded so far") {
        const std::string text = "plu_debug: " + std::to_string(count_) + " prefixes " + word +
                                 (terminal_ ? "   " : "") + end;
        (void)!write(STDERR_FILENO, text.data(), text.size());
        next_ = std::chrono::steady_clock::now() + (terminal_ ? on_a_terminal : in_a_log);
    }

    size_t count_ = 0;
    bool terminal_ = isatty(STDERR_FILENO) == 1;
    std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now() + in_a_log;
};

}    // namespace

exit_status run_record(const std::vector<std::string> &words, const options &chosen,
                       json_writer & /*json*/) {
    std::string error;
    whole_file file(words[1], error);
    if (!error.empty()) {
        notice(error);
        return status_usage;
    }
    progress shown;
    const quiet_result run =
        run_quietly("walk", walk_recording, chosen.limits, [&](std::string_view line) {
            if (line.starts_with("A ")) {
                file.out().write(line);
                file.out().write("\n");
                shown.count();
            }
        });
    if (run.status() != status_done) {
        const bool done = run.exchange.kind == outcome::done;
        notice((done ? run.judge.reason() : run.exchange.message) + "; '" + words[1] +
               "' is as it was");
        return run.status();
    }
    error = file.commit();
    if (!error.empty()) {
        notice(error);
        return status_usage;
    }
    shown.finish("recorded");
    return status_done;
}

}    // namespace client
