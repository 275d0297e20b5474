// An owned file descriptor.
#pragma once

#include <unistd.h>

#include <utility>

namespace client {

class file_handle {
public:
    explicit file_handle(int descriptor = -1) : descriptor_(descriptor) {}
    ~file_handle() { reset(); }
    file_handle(const file_handle &) = delete;
    file_handle &operator=(const file_handle &) = delete;
    file_handle(file_handle &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    file_handle &operator=(file_handle &&other) noexcept {
        if (this != &other) {
            reset(std::exchange(other.descriptor_, -1));
        }
        return *this;
    }

    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
    void reset(int descriptor = -1) {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
        descriptor_ = descriptor;
    }

private:
    int descriptor_;
};

}    // namespace client
