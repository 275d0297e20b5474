// Lines of a file, a pipe or a terminal; an interrupt ends the wait for the next one.
#pragma once

#include <string>

#include "client/base/file_handle.h"

namespace client {

class line_source {
public:
    enum class event { line, end, interrupted, failed };

    /// Reads standard input for "" and "-". A file that cannot be opened fails at the first line.
    explicit line_source(const std::string &name);

    /// The next line without its end, the first without a byte-order mark; the last may lack its
    /// end. After anything but a line there is nothing more.
    event next(std::string &line);

    /// The file's name as it was given, or "standard input".
    [[nodiscard]] const std::string &name() const { return name_; }
    /// Why reading failed; quotes the name.
    [[nodiscard]] const std::string &error() const { return error_; }

private:
    event refill();
    void pass_on(std::string &line, size_t end);
    event failed(const std::string &reason);

    std::string name_;
    file_handle file_;    // closed when standard input is read
    int descriptor_;
    std::string buffer_;
    bool at_start_ = true;
    size_t start_ = 0;    // of what has not been passed on
    std::string error_;
};

}    // namespace client
