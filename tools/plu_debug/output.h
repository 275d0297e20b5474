// Buffered output to a file descriptor.
#pragma once

#include <string>
#include <string_view>

namespace client {

class output {
public:
    explicit output(int descriptor) : descriptor_(descriptor) { buffer_.reserve(capacity); }
    ~output() { flush(); }
    output(const output &) = delete;
    output &operator=(const output &) = delete;
    output(output &&) = delete;
    output &operator=(output &&) = delete;

    void write(std::string_view text) {
        if (buffer_.size() + text.size() > capacity) {
            flush();
        }
        buffer_ += text;
    }
    void flush();

    /// The errno of the first failed write, after which everything is dropped; 0 when all went
    /// well.
    [[nodiscard]] int error() const { return error_; }

private:
    static constexpr size_t capacity = size_t{256} * 1024;

    int descriptor_;
    int error_ = 0;
    std::string buffer_;
};

}    // namespace client
