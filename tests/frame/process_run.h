// Runs the process as a child over the fake libraries.
#pragma once

#include <sys/types.h>
#include <chrono>
#include <string>
#include <vector>

using environment = std::vector<std::string>;    // "NAME=value"

/// A child process; killed with its owner when it still runs.
class process_run {
public:
    /// Starts the process with the fake libraries in place and the given variables set.
    explicit process_run(const environment &variables);
    ~process_run();
    process_run(const process_run &) = delete;
    process_run &operator=(const process_run &) = delete;
    process_run(process_run &&) = delete;
    process_run &operator=(process_run &&) = delete;

    pid_t pid() const { return pid_; }

    /// Waits for the end, at most 20 seconds: "exit N", "signal N" or "still running".
    std::string outcome();

    std::string standard_error() const;

    /// Calls that the fakes recorded, and the trace lines among them.
    std::vector<std::string> calls() const;
    std::vector<std::string> traces() const;

private:
    std::vector<std::string> log_lines(bool traces) const;

    std::string directory_;
    pid_t pid_ = -1;
};
