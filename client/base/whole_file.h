// A file that appears under its name only when it is whole.
#pragma once

#include <string>

#include "client/base/file_handle.h"
#include "client/base/output.h"

namespace client {

/// True when the name leads to what standard output writes to, such as /dev/stdout.
bool is_standard_output(const std::string &name);

class whole_file {
public:
    /// Creates a temporary file beside `name`, or beside what a symbolic link of that name leads
    /// to; `error` says why it cannot. Only a regular file is ever replaced.
    whole_file(const std::string &name, std::string &error);
    /// Removes the temporary file unless it was put in place.
    ~whole_file();
    whole_file(const whole_file &) = delete;
    whole_file &operator=(const whole_file &) = delete;
    whole_file(whole_file &&) = delete;
    whole_file &operator=(whole_file &&) = delete;

    [[nodiscard]] output &out() { return out_; }

    /// Puts the file in place. Returns what went wrong, or nothing.
    [[nodiscard]] std::string commit();

private:
    std::string name_;
    std::string temporary_;
    file_handle file_;
    output out_;
};

}    // namespace client
