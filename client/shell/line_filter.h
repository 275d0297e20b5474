// Filters over the lines of a reply, as they come.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/base/output.h"
#include "client/words/command_line.h"

namespace client {

/// An extended regular expression of POSIX.
class line_pattern {
public:
    line_pattern();
    ~line_pattern();
    line_pattern(const line_pattern &) = delete;
    line_pattern &operator=(const line_pattern &) = delete;
    line_pattern(line_pattern &&) noexcept;
    line_pattern &operator=(line_pattern &&) noexcept;

    /// Returns what is wrong with the expression, or nothing. To be called once.
    [[nodiscard]] std::string compile(const std::string &expression);
    /// Requires a compiled expression.
    [[nodiscard]] bool matches(std::string_view line) const;

private:
    struct compiled;
    std::unique_ptr<compiled> compiled_;
};

/// Joins pieces to lines, however they were cut, and passes on those that all filters let through.
/// Holds one line at a time; one of more than 64 KiB counts as several.
class line_filter : public text_sink {
public:
    explicit line_filter(output &next) : next_(next) {}

    /// Returns what is wrong with the filters, or nothing. At most `limit` lines are passed on; 0
    /// stands for all.
    [[nodiscard]] std::string set_up(const std::vector<filter_request> &filters, uint64_t limit);

    void take(std::string_view text) override;
    [[nodiscard]] bool wanted() const override {
        return (limit_ == 0 || passed_ < limit_) && next_.wanted();
    }
    /// Ends the text: a last line without its end and, when the text is `whole`, the number of
    /// lines if they are counted.
    void finish(bool whole);

private:
    struct stage {
        filter_kind kind;
        line_pattern pattern;
    };

    void line(std::string_view text, const char *end);
    [[nodiscard]] bool passes(std::string_view text) const;

    output &next_;
    std::vector<stage> stages_;
    bool counts_ = false;
    uint64_t count_ = 0;
    uint64_t limit_ = 0;
    uint64_t passed_ = 0;
    std::string carry_;
};

}    // namespace client
