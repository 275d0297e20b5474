// Waiting for the next message of a reply, and saying why there is none.
#pragma once

#include <optional>

#include "client/channel/channel.h"
#include "client/channel/exchange.h"
#include "client/channel/server_process.h"
#include "client/channel/status_line.h"

namespace client {

class reply_wait {
public:
    /// With `tells_progress` a terminal shows how long it takes.
    reply_wait(channel &queues, const time_limits &limits, bool tells_progress)
        : queues_(queues), limits_(limits), tells_progress_(tells_progress) {}

    struct step {
        received what = received::nothing;
        std::string_view text;
        exchange_result failure;    // set when nothing came
    };

    /// The next message, or the reason why none came: the process died, restarted, is stopped, or
    /// stands still for the whole limit, or an interrupt beyond `interrupts_expected` arrived.
    /// While it works there is no limit; when that cannot be seen, the limit holds.
    step next(reply_reader *reader, int interrupts_expected);

private:
    using clock = std::chrono::steady_clock;

    [[nodiscard]] milliseconds limit() const { return answered_ ? limits_.gap : limits_.first; }
    step sleep_until_next(reply_reader *reader, int interrupts_expected);
    [[nodiscard]] milliseconds look_interval() const;
    void show_progress();
    std::optional<exchange_result> look_for_trouble();
    void look_at_work();
    [[nodiscard]] exchange_result gone() const;
    std::optional<exchange_result> time_is_over();
    void find_process();

    channel &queues_;
    time_limits limits_;
    bool tells_progress_;
    bool answered_ = false;    // something has come
    bool looked_ = false;
    bool line_open_ = false;    // the last text lacks its line end
    std::optional<server_process> server_;
    file_handle watch_;
    clock::time_point silent_since_;
    clock::time_point idle_since_;                // no processor time was used since
    std::optional<clock::time_point> stopped_;    // since when
    std::optional<thread_activity> activity_;     // at the last look
    status_line status_;
    std::chrono::seconds shown_{0};
};

}    // namespace client
