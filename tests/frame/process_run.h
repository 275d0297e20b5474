// Runs the process as a child over the fake calls.
#pragma once

#include <sys/types.h>
#include <chrono>
#include <string>
#include <vector>

#ifdef __SANITIZE_THREAD__
inline constexpr bool extra_thread = true;    // the sanitizer's own, which never ends
inline constexpr auto patience = std::chrono::seconds(8);
#else
inline constexpr bool extra_thread = false;
inline constexpr auto patience = std::chrono::seconds(20);
#endif

/// Whether an outcome is that of a process all of whose threads ended.
inline bool all_threads_ended(const std::string &outcome) {
    return outcome == "exit 0" || (extra_thread && outcome == "still running");
}

using environment = std::vector<std::string>;    // "NAME=value"

/// A child process; killed with its owner when it still runs.
class process_run {
public:
    /// Starts the process with the fake calls in front; the given variables come on top.
    explicit process_run(const environment &variables);
    ~process_run();
    process_run(const process_run &) = delete;
    process_run &operator=(const process_run &) = delete;
    process_run(process_run &&) = delete;
    process_run &operator=(process_run &&) = delete;

    pid_t pid() const { return pid_; }

    /// Waits for the end as long as `patience`: "exit N", "signal N" or "still running".
    std::string outcome();

    /// Waits for the end of the main thread alone; false when it did not come.
    bool main_thread_ended() const;

    std::string standard_error() const;

    /// Calls that the fakes recorded, and the trace lines among them.
    std::vector<std::string> calls() const { return log_lines(false); }
    std::vector<std::string> traces() const { return log_lines(true); }
    /// The calls once there are `count`, or what there is after `patience`.
    std::vector<std::string> calls_once_there(size_t count) const;

private:
    std::vector<std::string> log_lines(bool traces) const;

    std::string directory_;
    pid_t pid_ = -1;
};
