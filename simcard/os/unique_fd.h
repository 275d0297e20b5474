// Owner of a file descriptor.
#pragma once

#include <unistd.h>

class unique_fd {
public:
    explicit unique_fd(int fd) : fd_(fd) {}
    ~unique_fd() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    unique_fd(const unique_fd &) = delete;
    unique_fd &operator=(const unique_fd &) = delete;
    unique_fd(unique_fd &&) = delete;
    unique_fd &operator=(unique_fd &&) = delete;

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }

private:
    int fd_;
};
