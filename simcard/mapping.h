// Zeroed memory of the kernel, reserved without swap and taken as it is touched.
#pragma once

#include <cstddef>

namespace simcard {

class Mapping {
public:
    Mapping() = default;
    ~Mapping();
    Mapping(const Mapping &) = delete;
    Mapping &operator=(const Mapping &) = delete;
    Mapping(Mapping &&) = delete;
    Mapping &operator=(Mapping &&) = delete;

    /// Maps so many bytes, preferably at an address; again at the old one, and zero again, when
    /// they were mapped before. False when the kernel refuses the memory.
    [[nodiscard]] bool map(size_t bytes, void *preferred = nullptr);

    [[nodiscard]] void *begin() const { return begin_; }

private:
    void *begin_ = nullptr;
    size_t bytes_ = 0;
};

}    // namespace simcard
