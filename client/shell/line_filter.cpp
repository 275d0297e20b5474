#include "client/shell/line_filter.h"

#include <regex.h>

#include <algorithm>
#include <array>

#include "client/channel/exchange.h"

namespace client {
namespace {

constexpr size_t longest_line = size_t{64} * 1024;

}    // namespace

struct line_pattern::compiled {
    regex_t expression{};
    bool valid = false;

    compiled() = default;
    ~compiled() {
        if (valid) {
            regfree(&expression);
        }
    }
    compiled(const compiled &) = delete;
    compiled &operator=(const compiled &) = delete;
    compiled(compiled &&) = delete;
    compiled &operator=(compiled &&) = delete;
};

line_pattern::line_pattern() : compiled_(std::make_unique<compiled>()) {}
line_pattern::~line_pattern() = default;
line_pattern::line_pattern(line_pattern &&) noexcept = default;
line_pattern &line_pattern::operator=(line_pattern &&) noexcept = default;

std::string line_pattern::compile(const std::string &expression) {
    regex_t &target = compiled_->expression;
    const int error = regcomp(&target, expression.c_str(), REG_EXTENDED | REG_NOSUB);
    compiled_->valid = error == 0;
    if (error == 0) {
        return {};
    }
    std::array<char, 128> reason{};
    regerror(error, &target, reason.data(), reason.size());
    return "'" + expression + "' is no regular expression: " + reason.data();
}

bool line_pattern::matches(std::string_view line) const {
    regmatch_t range{};
    range.rm_eo = static_cast<regoff_t>(line.size());
    return regexec(&compiled_->expression, line.data(), 1, &range, REG_STARTEND) == 0;
}

std::string line_filter::set_up(const std::vector<filter_request> &filters, uint64_t limit) {
    limit_ = limit;
    for (const filter_request &filter : filters) {
        if (filter.kind == filter_kind::count) {
            counts_ = true;
            continue;
        }
        stage next{filter.kind, {}};
        std::string error = next.pattern.compile(filter.pattern);
        if (!error.empty()) {
            return error;
        }
        stages_.push_back(std::move(next));
    }
    return {};
}

bool line_filter::passes(std::string_view text) const {
    return std::all_of(stages_.begin(), stages_.end(), [&](const stage &one) {
        return one.pattern.matches(text) == (one.kind == filter_kind::include);
    });
}

void line_filter::line(std::string_view text, const char *end) {
    if (!passes(text)) {
        return;
    }
    if (counts_) {
        count_ += text.empty() ? 0 : 1;    // empty lines only frame a reply
        return;
    }
    if (limit_ == 0 || passed_ < limit_) {
        next_.write(text);
        next_.write(end);
    }
    ++passed_;
}

void line_filter::take(std::string_view text) {
    for (size_t end = 0; (end = text.find('\n')) != std::string_view::npos;
         text.remove_prefix(end + 1)) {
        if (carry_.empty()) {
            line(text.substr(0, end), "\n");
        } else {
            carry_ += text.substr(0, end);
            line(carry_, "\n");
            carry_.clear();
        }
    }
    carry_ += text;
    if (carry_.size() > longest_line) {
        line(carry_, "\n");
        carry_.clear();
    }
    next_.flush();
}

void line_filter::finish(bool whole) {
    if (!carry_.empty()) {
        line(carry_, "");
        carry_.clear();
    }
    if (counts_ && whole) {
        next_.write(std::to_string(count_) + '\n');
    }
    next_.flush();
    if (limit_ > 0 && passed_ > limit_) {
        notice("the first " + std::to_string(limit_) + " of " + std::to_string(passed_) + " lines");
    }
}

}    // namespace client
