// bench_replies --table=FILE [--programs=DIRECTORY] [--rounds=N]: the recording of a whole table
// through the real queues, from the real process to the client writing to a file, against a bare
// pair of a sender and a receiver that moves as many messages of the same shape; and one lookup as
// a whole client command, against the least program that can ask for it. Each takes turns with its
// measure.
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
    double run(const std::vector<std::string> &words, const std::string &output) {
        std::vector<std::string> command(1, client_);
        command.insert(command.end(), words.begin(), words.end());
        return time(command, output);
    }

    /// Seconds of any command; negative when it failed.
    double time(const std::vector<std::string> &words, const std::string &output) {
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

constexpr double recording_target = 1.15;
constexpr double lookup_target = 1.5;

/// Times of two that took turns, in seconds.
struct turns {
    std::vector<double> bare;
    std::vector<double> ours;
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// One line: medians, their ratio, and the smallest and largest ratio of a turn.
void print_turns(const std::string &name, const turns &times, double target) {
    std::vector<double> ratios;
    for (size_t i = 0; i < times.ours.size(); ++i) {
        if (times.bare[i] < 0 || times.ours[i] < 0) {
            fail("a process did not do its part");
        }
        ratios.push_back(times.ours[i] / times.bare[i]);
    }
    const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
    printf(
        "result table=real name=%s turns=%zu median_ms=%.2f bare_median_ms=%.2f times_bare=%.2f "
        "least=%.2f most=%.2f target=%.2f\n",
        name.c_str(), ratios.size(), 1e3 * median(times.ours), 1e3 * median(times.bare),
        median(times.ours) / median(times.bare), *least, *most, target);
}

/// The machine moves a message at one of two speeds and keeps one for seconds: a turn belongs to
/// the speed of its bare pair, and a speed with too few turns says nothing.
void print_by_speed(const std::string &name, const turns &times) {
    constexpr size_t turns_min = 5;
    const double fastest = *std::min_element(times.bare.begin(), times.bare.end());
    turns fast;
    turns slow;
    for (size_t i = 0; i < times.bare.size(); ++i) {
        turns &speed = times.bare[i] > 1.6 * fastest ? slow : fast;
        speed.bare.push_back(times.bare[i]);
        speed.ours.push_back(times.ours[i]);
    }
    for (const auto &[speed, label] : {std::pair(&fast, "_fast"), std::pair(&slow, "_slow")}) {
        if (speed->bare.size() >= turns_min) {
            print_turns(name + label, *speed, recording_target);
        }
    }
}

void measure_recording(channel_under_test &channel, const std::string &table, int rounds) {
    const size_t prefixes = table_lines(table);
    if (channel.record() < 0 || channel.recorded_prefixes() != prefixes) {
        fail("the recording does not hold the table");
    }
    const auto messages = static_cast<long>(prefixes);
    turns to_file;
    turns to_nowhere;
    for (int round = 0; round < rounds; ++round) {
        to_file.bare.push_back(bare_pair(messages, waiting::polls));
        to_file.ours.push_back(channel.record());
        to_nowhere.bare.push_back(bare_pair(messages, waiting::polls));
        to_nowhere.ours.push_back(channel.run({"walk", "record"}, "/dev/null"));
    }
    print_by_speed("recording", to_file);
    print_by_speed("walk_record", to_nowhere);
}

void measure_lookup(channel_under_test &channel, const std::string &programs) {
    const std::vector<std::string> bare(1, programs + "/bare_lookup");
    turns times;
    for (int i = 0; i < 200; ++i) {
        times.bare.push_back(channel.time(bare, "/dev/null"));
        times.ours.push_back(channel.run({"v4", "10.1.2.3"}, "/dev/null"));
    }
    print_turns("lookup_command", times, lookup_target);
}

}    // namespace

int main(int argc, char **argv) {
    const std::string here = std::filesystem::canonical("/proc/self/exe").parent_path();
    const std::string table = argument(argc, argv, "table", "data/nested.txt");
    use_private_channel();
    const std::string programs = argument(argc, argv, "programs", here);
    channel_under_test channel(programs, table);
    measure_recording(channel, table, std::stoi(argument(argc, argv, "rounds", "11")));
    measure_lookup(channel, programs);
    return 0;
}
