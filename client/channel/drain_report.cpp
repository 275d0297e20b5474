#include "client/channel/drain_report.h"

#include <algorithm>

namespace client {

std::string drain_report::text() const {
    return std::string(why_) + "; " + std::to_string(lines_) + " lines dropped so far";
}

void drain_report::piece(std::string_view text) {
    lines_ += static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    waiting();
}

void drain_report::waiting() {
    const double now = watch_.seconds();
    if (now < next_) {
        return;
    }
    const bool first = next_ <= 1;
    next_ = now + 1;
    if (line_.usable()) {
        line_.show(text());
    } else if (first) {
        notice(text());
    }
    told_ = lines_;
}

drain_report::~drain_report() {
    line_.clear();
    if (next_ > 1 && (line_.usable() || told_ != lines_)) {
        notice(std::to_string(lines_) + " lines were dropped");
    }
}

}    // namespace client
