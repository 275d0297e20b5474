// bench_replies --table=FILE [--programs=DIRECTORY] [--rounds=N]: the recording of a whole table
// through the real queues, from the real process to the client writing to a file, against a bare
// pair of a sender and a receiver that moves as many messages of the same shape; and one lookup as
// a whole client command.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "bench/bare_pair.h"
#include "bench/child.h"
#include "bench/private_channel.h"
#include "bench/timing.h"

namespace {

using clock_type = std::chrono::steady_clock;

double seconds_since(clock_type::time_point start) {
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

[[noreturn]] void fail(const std::string &text) {
    (void)fprintf(stderr, "error: %s\n", text.c_str());
    exit(1);
}

/// The real process on the card, and its client.
class channel_under_test {
public:
    channel_under_test(const std::string &programs, const std::string &table)
        : client_(programs + "/plu_debug"),
          directory_(new_directory()),
          process_(with_table({programs + "/plu_bkg"}, table), "", directory_ / "process") {
        const auto begin = clock_type::now();
        while (run({"rootsn"}, "/dev/null") < 0) {
            if (!process_.running() || seconds_since(begin) > 60) {
                fail("the process does not answer");
            }
            usleep(100000);
        }
    }
    ~channel_under_test() {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    channel_under_test(const channel_under_test &) = delete;
    channel_under_test &operator=(const channel_under_test &) = delete;
    channel_under_test(channel_under_test &&) = delete;
    channel_under_test &operator=(channel_under_test &&) = delete;

    /// Seconds of a client command; negative when it failed.
    double run(std::vector<std::string> words, const std::string &output) {
        words.insert(words.begin(), client_);
        const auto begin = clock_type::now();
        child command(words, output, directory_ / "errors");
        return command.wait() ? seconds_since(begin) : -1;
    }

    double record() { return run({"walk", "record"}, recording()); }
    [[nodiscard]] std::string recording() const { return directory_ / "recording"; }

    [[nodiscard]] size_t recorded_prefixes() const {
        std::ifstream file(recording());
        size_t count = 0;
        for (std::string line; std::getline(file, line);) {
            count += line.starts_with("A U") ? 1 : 0;
        }
        return count;
    }

private:
    static std::filesystem::path new_directory() {
        std::string path = (std::filesystem::temp_directory_path() / "plu_bench_XXXXXX").string();
        return mkdtemp(path.data());
    }

    static std::vector<std::string> with_table(std::vector<std::string> words,
                                               const std::string &table) {
        setenv("SIMCARD_TABLE", table.c_str(), 1);
        return words;
    }

    std::string client_;
    std::filesystem::path directory_;
    child process_;
};

size_t table_lines(const std::string &table) {
    std::ifstream file(table);
    size_t count = 0;
    for (std::string line; std::getline(file, line);) {
        count += !line.empty() && line[0] != '#' ? 1 : 0;
    }
    return count;
}

constexpr double rate_target = 0.85;
constexpr double lookup_target_ms = 3;

void measure_recording(channel_under_test &channel, const std::string &table, int rounds) {
    constexpr double none = 1e9;
    const size_t prefixes = table_lines(table);
    if (channel.record() < 0 || channel.recorded_prefixes() != prefixes) {
        fail("the recording does not hold the table");
    }
    const auto messages = static_cast<long>(prefixes);
    double recording = none;
    double pair = none;
    for (int round = 0; round < rounds; ++round) {
        pair = std::min(pair, bare_pair(messages, waiting::polls));
        recording = std::min(recording, channel.record());
    }
    const double blocking = bare_pair(messages, waiting::blocks);
    const double one_core = bare_pair(messages, waiting::one_core);
    if (pair < 0 || recording < 0 || blocking < 0 || one_core < 0) {
        fail("a process did not do its part");
    }
    printf(
        "result table=real name=recording messages=%ld seconds=%.3f bare_pair_seconds=%.3f "
        "rate=%.2f target_rate=%.2f pair_blocking_seconds=%.3f pair_one_core_seconds=%.3f\n",
        messages, recording, pair, pair / recording, rate_target, blocking, one_core);
}

void measure_lookup(channel_under_test &channel) {
    std::vector<double> times;
    for (int i = 0; i < 200; ++i) {
        times.push_back(1e3 * channel.run({"v4", "10.1.2.3"}, "/dev/null"));
    }
    std::sort(times.begin(), times.end());
    if (times.front() < 0) {
        fail("a lookup failed");
    }
    printf(
        "result table=real name=lookup_command median_ms=%.2f p99_ms=%.2f target_median_ms=%.0f\n",
        times[times.size() / 2], times[times.size() * 99 / 100], lookup_target_ms);
}

}    // namespace

int main(int argc, char **argv) {
    const std::string here = std::filesystem::canonical("/proc/self/exe").parent_path();
    const std::string table = argument(argc, argv, "table", "data/nested.txt");
    use_private_channel();
    channel_under_test channel(argument(argc, argv, "programs", here), table);
    measure_recording(channel, table, std::stoi(argument(argc, argv, "rounds", "7")));
    measure_lookup(channel);
    return 0;
}
