#include "client/base/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "client/base/number.h"

namespace client {
namespace {

namespace fs = std::filesystem;

constexpr mode_t new_file_mode = 0666;
constexpr const char *temporary_mark = ".new.";

std::string complaint(const std::string &name, int error) {
    return "cannot write '" + name + "': " + std::strerror(error);
}

/// The file that a name leads to: what is renamed onto a symbolic link would replace the link.
std::string target_of(const std::string &name) {
    constexpr int links_max = 40;    // as the kernel
    fs::path target = name;
    std::error_code error;
    for (int i = 0; i < links_max && fs::is_symlink(fs::symlink_status(target, error)); ++i) {
        target = target.parent_path() / fs::read_symlink(target, error);
    }
    return target.string();
}

/// A device, a pipe or a folder must not give way to a file.
bool replaceable(const std::string &target) {
    struct stat status {};
    return stat(target.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

/// The rights of what is replaced; what may be read of a new one is the user's choice.
void keep_rights(const std::string &target, int descriptor) {
    struct stat before {};
    if (stat(target.c_str(), &before) == 0) {
        (void)!fchown(descriptor, before.st_uid, before.st_gid);
        (void)fchmod(descriptor, before.st_mode & 07777);
    }
}

/// Clients that were killed left their temporary files behind.
void remove_leftovers(const std::string &target) {
    const fs::path whole(target);
    const std::string start = whole.filename().string() + temporary_mark;
    std::error_code error;
    fs::directory_iterator entry(whole.has_parent_path() ? whole.parent_path() : ".", error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        const auto pid =
            name.starts_with(start) ? parse_number(name.substr(start.size())) : std::nullopt;
        if (pid && kill(static_cast<pid_t>(*pid), 0) != 0 && errno == ESRCH) {
            unlink(entry->path().c_str());
        }
    }
}

}    // namespace

bool is_standard_output(const std::string &name) {
    struct stat named {};
    struct stat standard {};
    return stat(name.c_str(), &named) == 0 && fstat(STDOUT_FILENO, &standard) == 0 &&
           named.st_dev == standard.st_dev && named.st_ino == standard.st_ino;
}

whole_file::whole_file(const std::string &name, std::string &error)
    : name_(target_of(name)),
      temporary_(name_ + temporary_mark + std::to_string(getpid())),
      file_(replaceable(name_)
                ? open(temporary_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, new_file_mode)
                : -1),
      out_(file_.get()) {
    if (!file_.is_open()) {
        const int reason = errno;
        error = replaceable(name_) ? complaint(name, reason)
                                   : "cannot write '" + name + "': it is no regular file";
        temporary_.clear();
        return;
    }
    keep_rights(name_, file_.get());
    remove_leftovers(name_);
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
