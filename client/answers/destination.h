// A file to write, or the output that a command has anyway.
#pragma once

#include <optional>
#include <string>

#include "client/answers/ending.h"
#include "client/base/whole_file.h"

namespace client {

class destination {
public:
    /// "", "-" and names of the standard output stand for `standard`. A file is replaced by
    /// commit() alone.
    destination(const std::string &name, output &standard);

    /// What is wrong with the file; empty when all is well.
    [[nodiscard]] const std::string &error() const { return error_; }
    output &out() { return file_ ? file_->out() : standard_; }

    /// Puts the file in place. Returns `how`, or the failure when that is worse.
    ending commit(const ending &how);

private:
    std::optional<whole_file> file_;
    output &standard_;
    std::string error_;
};

}    // namespace client
