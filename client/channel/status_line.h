// A line on the operator's terminal that changes in place.
#pragma once

#include <string>

namespace client {

class status_line {
public:
    status_line();
    ~status_line() { clear(); }
    status_line(const status_line &) = delete;
    status_line &operator=(const status_line &) = delete;
    status_line(status_line &&) = delete;
    status_line &operator=(status_line &&) = delete;

    /// False when standard error is no terminal; then nothing is shown.
    [[nodiscard]] bool usable() const { return usable_; }
    /// Takes the place of what was shown before. Requires a terminal whose cursor is at the start
    /// of a line.
    void show(const std::string &text);
    /// Leaves an empty line with the cursor at its start.
    void clear();

private:
    bool usable_;
    size_t width_ = 0;
};

}    // namespace client
