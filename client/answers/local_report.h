// Where a command of the client's own puts what it has to say.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "client/base/output.h"

namespace client {

struct local_report {
    output &out;
    std::vector<std::pair<const char *, int64_t>> counters{};    // for machine output
};

}    // namespace client
