// Why the queues cannot be opened, in words that say what to do next.
#pragma once

#include "client/channel/exchange.h"

namespace client {

exchange_result explain_open_failure(int error);

}    // namespace client
