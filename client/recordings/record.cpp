#include "client/recordings/record.h"

#include <unistd.h>

#include "client/answers/destination.h"
#include "client/answers/quiet_run.h"

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

ending run_record(const std::vector<std::string> &words, const options &chosen,
                  local_report &report) {
    destination target(words[1], report.out);
    if (!target.error().empty()) {
        return file_failure(target.error());
    }
    progress shown;
    const quiet_result run =
        run_quietly("walk", walk_recording, chosen.limits, [&](const reply_line &line) {
            if (line.known != nullptr && line.known->is("prefix")) {
                target.out().write(line.text);
                target.out().write("\n");
                shown.count();
            } else if (line.known == nullptr || line.known->kind->row.means != meaning::progress) {
                notice(std::string(line.text));    // no line of a table
            }
        });
    ending how = ending_of(run.exchange, run.judge);
    if (run.exchange.kind != outcome::done || refused(run)) {
        how.message +=
            words[1] == "-" ? "; the recording is not whole" : "; '" + words[1] + "' is as it was";
        return how;
    }
    how = target.commit(how);
    if (how.status <= status_findings) {
        report.counters.emplace_back("prefixes", static_cast<int64_t>(shown.total()));
        shown.finish("recorded");
    }
    if (how.status == status_findings) {
        how.message += "; the recording lacks what is below";
    }
    return how;
}

}    // namespace client
