#include "tools/plu_debug/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace client {
namespace {

constexpr mode_t new_file_mode = 0666;

std::string complaint(const std::string &name, int error) {
    return "cannot write '" + name + "': " + std::strerror(error);
}

}    // namespace

whole_file::whole_file(const std::string &name, std::string &error)
    : name_(name),
      temporary_(name + ".new." + std::to_string(getpid())),
      file_(open(temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, new_file_mode)),
      out_(file_.get()) {
    if (!file_.is_open()) {
        error = complaint(name, errno);
        temporary_.clear();
    }
}

whole_file::~whole_file() {
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
    }
}

std::string whole_file::commit() {
    out_.flush();
    if (out_.error() != 0) {
        return complaint(name_, out_.error());
    }
    if (fsync(file_.get()) != 0 || std::rename(temporary_.c_str(), name_.c_str()) != 0) {
        return complaint(name_, errno);
    }
    temporary_.clear();
    return {};
}

}    // namespace client
