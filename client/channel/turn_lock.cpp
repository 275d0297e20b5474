#include "client/channel/turn_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>

namespace client {
namespace {

constexpr const char *places[] = {"/dev/shm/", "/run/lock/", P_tmpdir "/"};
constexpr std::string_view first_namespace = "ipc:[4026531839]";
constexpr mode_t for_every_user = 0666;

// In world-writable folders the kernel may refuse O_CREAT on another user's file, so an existing
// one is opened without it.
int open_existing(const char *path) {
    const int descriptor = open(path, O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    return descriptor >= 0 ? descriptor : open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
}

int open_or_create(const char *path) {
    int descriptor = open_existing(path);
    if (descriptor < 0) {
        descriptor = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, for_every_user);
        if (descriptor < 0) {
            return open_existing(path);    // another client was quicker
        }
        fchmod(descriptor, for_every_user);
    }
    return descriptor;
}

// Queues belong to an IPC namespace, and so do turns.
std::string file_name() {
    std::array<char, 64> text{};
    const ssize_t length = readlink("/proc/self/ns/ipc", text.data(), text.size());
    const std::string_view space(text.data(), length > 0 ? static_cast<size_t>(length) : 0);
    const size_t number = space.find_first_of("0123456789");
    if (space == first_namespace || number == std::string_view::npos) {
        return "plu_debug.lock";
    }
    return "plu_debug." + std::string(space.substr(number, space.find(']') - number)) + ".lock";
}

}    // namespace

turn_lock::turn_lock() {
    open_file();
}

turn_lock::~turn_lock() {
    if (file_.is_open() && flock(file_.get(), LOCK_EX | LOCK_NB) == 0 && is_in_place() &&
        pid_in_file() == 0) {
        unlink(path_.c_str());
    }
}

void turn_lock::open_file() {
    const std::string name = file_name();
    for (const char *place : places) {
        path_ = place + name;
        file_.reset(open_or_create(path_.c_str()));
        if (file_.is_open()) {
            return;
        }
    }
}

/// Somebody may remove the file, as some systems do when its owner logs out.
bool turn_lock::is_in_place() const {
    struct stat held {};
    struct stat named {};
    return fstat(file_.get(), &held) == 0 && stat(path_.c_str(), &named) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

// A lock on the file's first byte; a file that may only be read has none, and no order.
bool turn_lock::become_next() {
    struct flock place {};
    place.l_type = F_WRLCK;
    place.l_len = 1;
    next_ = next_ || fcntl(file_.get(), F_OFD_SETLK, &place) == 0 || errno == EBADF;
    return next_;
}

bool turn_lock::try_take() {
    if (!file_.is_open()) {
        return true;
    }
    if (!become_next() || flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        return false;
    }
    leave_queue();
    if (is_in_place()) {
        return true;
    }
    open_file();
    return false;
}

pid_t turn_lock::pid_in_file() const {
    std::array<char, 16> text{};
    const ssize_t length = pread(file_.get(), text.data(), text.size(), 0);
    pid_t pid = 0;
    if (length > 0) {
        std::from_chars(text.data(), text.data() + length, pid);
    }
    return pid;
}

void turn_lock::mark_busy() const {
    const std::string text = std::to_string(getpid()) + '\n';
    if (ftruncate(file_.get(), 0) == 0) {
        (void)!pwrite(file_.get(), text.data(), text.size(), 0);
    }
}

void turn_lock::mark_idle() const {
    (void)!ftruncate(file_.get(), 0);
}

void turn_lock::leave_queue() {
    struct flock place {};
    place.l_type = F_UNLCK;
    place.l_len = 1;
    (void)fcntl(file_.get(), F_OFD_SETLK, &place);
    next_ = false;
}

void turn_lock::release() {
    if (file_.is_open()) {
        leave_queue();
        flock(file_.get(), LOCK_UN);
    }
}

}    // namespace client
