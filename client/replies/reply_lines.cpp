#include "client/replies/reply_lines.h"

#include <algorithm>
#include <cctype>

namespace client {
namespace {

constexpr size_t longest_line = 65536;    // what a line may grow to before it is taken as it is

std::string small_letters(std::string_view name) {
    std::string result(name);
    std::ranges::transform(result, result.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

}    // namespace

reply_lines::reply_lines(std::string_view command, taker take)
    : forms_(small_letters(command)), take_(std::move(take)) {}

void reply_lines::piece(std::string_view text) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (carry_.empty() && end != std::string_view::npos) {
            line(text.substr(0, end));
        } else {
            carry_ += text.substr(0, end);
            if (end == std::string_view::npos && carry_.size() < longest_line) {
                return;
            }
            finish();
        }
        text.remove_prefix(std::min(text.size(), end == std::string_view::npos ? end : end + 1));
    }
}

void reply_lines::finish() {
    line(carry_);
    carry_.clear();
}

void reply_lines::line(std::string_view text) {
    if (text.empty()) {
        return;
    }
    reply_record record;
    if (forms_.recognise(text, record)) {
        take_({text, &record});
        return;
    }
    reply_record second;
    size_t place = 0;
    if (forms_.recognise_broken(text, record, second, place)) {
        take_({text.substr(0, place), &record});
        take_({text.substr(place), &second});
        return;
    }
    take_({text, nullptr});
}

std::string unexpected_line(std::string_view command, std::string_view line) {
    return "unexpected line in the reply to '" + std::string(command) + "': '" + std::string(line) +
           "'";
}

}    // namespace client
