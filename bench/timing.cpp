#include "bench/timing.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace {

/// Keeps the smallest processor time of each benchmark.
class smallest_times : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration) {
                continue;
            }
            const double ns = 1e9 * run.cpu_accumulated_time / static_cast<double>(run.iterations);
            const auto [place, first] = times.emplace(run.run_name.function_name, ns);
            place->second = first ? ns : std::min(place->second, ns);
        }
    }
    std::map<std::string, double> times;
};

}    // namespace

void timings::add(const std::string &name, const std::function<void()> &action, double operations) {
    operations_[name] = operations;
    benchmark::RegisterBenchmark(name.c_str(), [action](benchmark::State &state) {
        for (auto unused : state) {
            (void)unused;
            action();
        }
    })->Iterations(1);
}

void timings::run(int repetitions, const std::string &filter) {
    std::string count = "--benchmark_repetitions=" + std::to_string(repetitions);
    std::string order = "--benchmark_enable_random_interleaving=true";
    std::string chosen = "--benchmark_filter=" + filter;
    std::string program = "bench";
    std::vector<char *> arguments = {program.data(), count.data(), order.data(), chosen.data(),
                                     nullptr};
    int argc = 4;
    benchmark::Initialize(&argc, arguments.data());
    smallest_times reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::ClearRegisteredBenchmarks();
    for (const auto &[name, ns] : reporter.times) {
        ns_[name] = ns / operations_.at(name);
    }
}

std::string argument(int argc, char **argv, const std::string &name, const std::string &otherwise) {
    const std::string start = "--" + name + "=";
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]).starts_with(start)) {
            return argv[i] + start.size();
        }
    }
    return otherwise;
}
