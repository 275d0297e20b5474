// Time: how long something took, and when it was.
#pragma once

#include <chrono>
#include <string>

namespace client {

class stopwatch {
public:
    [[nodiscard]] double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// The time of day such as "2024-05-06T07:08:09.123Z".
std::string utc_now();

}    // namespace client
