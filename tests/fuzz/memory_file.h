// A file that a fuzz target fills and the code under test opens by name.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

class memory_file {
public:
    memory_file() : descriptor_(memfd_create("input", 0)) {}
    [[nodiscard]] std::string name() const {
        return "/proc/self/fd/" + std::to_string(descriptor_);
    }
    void fill(const uint8_t *data, size_t size) const {
        if (ftruncate(descriptor_, 0) != 0 ||
            pwrite(descriptor_, data, size, 0) != static_cast<ssize_t>(size)) {
            abort();
        }
    }

private:
    int descriptor_;
};
