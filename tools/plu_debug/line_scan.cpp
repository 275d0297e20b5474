#include "tools/plu_debug/line_scan.h"

#include <algorithm>
#include <charconv>

namespace client {

line_scan &line_scan::text(std::string_view expected) {
    good_ = good_ && rest_.starts_with(expected);
    if (good_) {
        rest_.remove_prefix(expected.size());
    }
    return *this;
}

line_scan &line_scan::blanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(' '), rest_.size()));
    return *this;
}

template <typename Number>
line_scan &line_scan::digits(Number &value, int base) {
    const char *end = rest_.data() + rest_.size();
    const auto [stop, error] = std::from_chars(rest_.data(), end, value, base);
    good_ = good_ && error == std::errc() && !rest_.starts_with('-');
    if (good_) {
        rest_.remove_prefix(static_cast<size_t>(stop - rest_.data()));
    }
    return *this;
}

line_scan &line_scan::number(int64_t &value) {
    return blanks().digits(value, 10);
}

line_scan &line_scan::pointer(uint64_t &value) {
    if (at("(nil)")) {
        value = 0;
        return text("(nil)");
    }
    return text("0x").digits(value, 16);
}

line_scan &line_scan::until(char end, std::string &value) {
    const size_t place = rest_.find(end);
    good_ = good_ && place != std::string_view::npos;
    if (good_) {
        value = rest_.substr(0, place);
        rest_.remove_prefix(place);
    }
    return *this;
}

line_scan &line_scan::rest(std::string &value) {
    if (good_) {
        value = rest_;
        rest_ = {};
    }
    return *this;
}

std::string unexpected_line(const char *command, const std::string &line) {
    return "unexpected line in the reply to '" + std::string(command) + "': '" + line + "'";
}

}    // namespace client
