// Buffered output to a file descriptor, or to something that works on the text first.
#pragma once

#include <string>
#include <string_view>

namespace client {

/// Takes over text that has been written.
class text_sink {
public:
    text_sink() = default;
    text_sink(const text_sink &) = delete;
    text_sink &operator=(const text_sink &) = delete;
    text_sink(text_sink &&) = delete;
    text_sink &operator=(text_sink &&) = delete;
    virtual ~text_sink() = default;

    /// The next text, cut anywhere.
    virtual void take(std::string_view text) = 0;
};

class output {
public:
    explicit output(int descriptor) : descriptor_(descriptor) { buffer_.reserve(capacity); }
    /// Everything goes to the sink, which must live longer.
    explicit output(text_sink &sink) : sink_(&sink) { buffer_.reserve(capacity); }
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

    int descriptor_ = -1;
    text_sink *sink_ = nullptr;
    int error_ = 0;
    std::string buffer_;
};

}    // namespace client
