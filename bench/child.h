// A child process for one measurement.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

class child {
public:
    /// Runs `action` in a child process, which ends after it.
    explicit child(const std::function<void()> &action);
    /// Runs a program with its output and errors in files ("" leaves them as they are).
    child(const std::vector<std::string> &words, const std::string &output,
          const std::string &errors);
    /// Kills the child when it still runs.
    ~child();
    child(const child &) = delete;
    child &operator=(const child &) = delete;
    child(child &&) = delete;
    child &operator=(child &&) = delete;

    /// True while the child runs.
    bool running();
    /// Waits for the end; true for exit status 0.
    bool wait();

private:
    pid_t pid_;
};
