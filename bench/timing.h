// Repeated, interleaved measurements through Google Benchmark; the smallest processor time counts.
#pragma once

#include <functional>
#include <map>
#include <string>

class timings {
public:
    /// Plans a measurement of `action`, which does `operations` of the same kind.
    void add(const std::string &name, const std::function<void()> &action, double operations = 1);

    /// Runs what is planned and matches a regular expression, each `repetitions` times in random
    /// order.
    void run(int repetitions, const std::string &filter);

    /// Smallest time of one operation in nanoseconds; 0 for what was not run.
    [[nodiscard]] double ns(const std::string &name) const {
        const auto found = ns_.find(name);
        return found == ns_.end() ? 0 : found->second;
    }

private:
    std::map<std::string, double> operations_;
    std::map<std::string, double> ns_;
};

/// Splits "--NAME=VALUE" off; the default when it is not among the arguments.
std::string argument(int argc, char **argv, const std::string &name, const std::string &otherwise);
