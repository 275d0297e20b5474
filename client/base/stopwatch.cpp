#include "client/base/stopwatch.h"

#include <array>
#include <ctime>

namespace client {

std::string utc_now() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    std::array<char, 32> date{};
    strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string thousandths = std::to_string(1000 + now.tv_nsec / 1000000).substr(1);
    return std::string(date.data()) + '.' + thousandths + 'Z';
}

}    // namespace client
