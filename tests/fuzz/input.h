// A fuzzer's bytes, taken one value at a time; zeros behind their end.
#pragma once

#include <cstddef>
#include <cstdint>

class fuzz_input {
public:
    fuzz_input(const uint8_t *data, size_t size) : at_(data), end_(data + size) {}

    [[nodiscard]] bool empty() const { return at_ == end_; }
    uint8_t byte() { return empty() ? uint8_t{0} : *at_++; }
    uint64_t bytes(int count) {
        uint64_t value = 0;
        for (int i = 0; i < count; ++i) {
            value |= uint64_t{byte()} << (8 * i);
        }
        return value;
    }
    /// A number below n, from two bytes.
    size_t below(size_t n) { return n == 0 ? 0 : bytes(2) % n; }

private:
    const uint8_t *at_;
    const uint8_t *end_;
};
