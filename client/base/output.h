// Buffered output to a file descriptor, or to something that works on the text first.
#pragma once

#include <string>
#include <string_view>

#include "client/base/printable.h"

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
    /// False when what still comes is dropped.
    [[nodiscard]] virtual bool wanted() const { return true; }
};

class output {
public:
    explicit output(int descriptor);
    /// Everything goes to the sink, which must live longer.
    explicit output(text_sink &sink) : sink_(&sink) { buffer_.reserve(capacity); }
    ~output() { flush(); }
    output(const output &) = delete;
    output &operator=(const output &) = delete;
    output(output &&) = delete;
    output &operator=(output &&) = delete;

    /// A terminal gets control characters in a printable form.
    void write(std::string_view text) {
        if (guarded_ && !is_printable(text)) {
            write_as_is(printable(text));
        } else {
            write_as_is(text);
        }
    }
    void write_as_is(std::string_view text) {
        if (buffer_.size() + text.size() > capacity) {
            flush();
        }
        buffer_ += text;
    }
    void flush();

    /// False when nobody reads what is written from now on.
    [[nodiscard]] bool wanted() const { return sink_ != nullptr ? sink_->wanted() : error_ == 0; }

    /// The errno of the first failed write, after which everything is dropped; 0 when all went
    /// well.
    [[nodiscard]] int error() const { return error_; }

private:
    static constexpr size_t capacity = size_t{256} * 1024;

    int descriptor_ = -1;
    text_sink *sink_ = nullptr;
    int error_ = 0;
    bool guarded_ = false;
    std::string buffer_;
};

}    // namespace client
