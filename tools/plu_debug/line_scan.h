// Takes a line of a reply apart, strictly: what is not as expected makes the whole scan fail.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace client {

class line_scan {
public:
    explicit line_scan(std::string_view line) : rest_(line) {}

    /// This very text.
    line_scan &text(std::string_view expected);
    /// Any number of blanks, also none.
    line_scan &blanks();
    /// A decimal number without sign; blanks may pad it on the left.
    line_scan &number(int64_t &value);
    /// A hexadecimal number after 0x, or "(nil)" for 0.
    line_scan &pointer(uint64_t &value);
    /// Everything before the next such character, which stays.
    line_scan &until(char end, std::string &value);
    line_scan &rest(std::string &value);

    /// True when the next thing is this text.
    [[nodiscard]] bool at(std::string_view expected) const {
        return good_ && rest_.starts_with(expected);
    }
    [[nodiscard]] bool good() const { return good_; }
    /// The scan is good and nothing is left but blanks.
    [[nodiscard]] bool complete() const {
        return good_ && rest_.find_first_not_of(' ') == std::string_view::npos;
    }

private:
    template <typename Number>
    line_scan &digits(Number &value, int base);

    std::string_view rest_;
    bool good_ = true;
};

/// What to say about a line that is not as expected.
std::string unexpected_line(const char *command, const std::string &line);

}    // namespace client
