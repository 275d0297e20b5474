// Waiting for the next message of a reply, and saying why there is none.
#pragma once

#include <optional>

#include "tools/plu_debug/channel.h"
#include "tools/plu_debug/exchange.h"
#include "tools/plu_debug/server_process.h"

namespace client {

class reply_wait {
public:
    reply_wait(channel &queues, const time_limits &limits) : queues_(queues), limits_(limits) {}

    struct step {
        received what = received::nothing;
        std::string_view text;
        exchange_result failure;    // set when nothing came
    };

    /// The next message, or the reason why none came: the time is over, the process died or
    /// restarted, or an interrupt beyond `interrupts_expected` arrived.
    step next(reply_reader *reader, int interrupts_expected);

private:
    [[nodiscard]] milliseconds limit() const { return answered_ ? limits_.gap : limits_.first; }
    step sleep_until_next(reply_reader *reader, int interrupts_expected);
    std::optional<exchange_result> look_for_trouble();
    exchange_result time_is_over();
    void find_process();

    channel &queues_;
    time_limits limits_;
    bool answered_ = false;    // something has come
    bool looked_ = false;
    std::optional<server_process> server_;
    file_handle watch_;
};

}    // namespace client
