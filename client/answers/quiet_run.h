// Runs a command for its meaning alone: nothing is printed.
#pragma once

#include "client/channel/exchange.h"
#include "client/replies/verdict.h"

namespace client {

struct quiet_result {
    exchange_result exchange;
    reply_judge judge;
    double seconds;

    [[nodiscard]] exit_status status() const {
        return exchange.kind == outcome::done ? judge.status() : status_of(exchange.kind);
    }
};

/// True when the whole reply says no more than that the process does not do it.
inline bool refused(const quiet_result &run) {
    return run.exchange.kind == outcome::done && run.judge.result() == verdict::refused;
}

/// Runs a request. Every line goes to `take` when there is one.
quiet_result run_quietly(const plu_debug_request &request, const time_limits &limits,
                         const reply_lines::taker &take = {});

/// The same for a command of the table with one number.
quiet_result run_quietly(const char *name, uint64_t a1, const time_limits &limits,
                         const reply_lines::taker &take = {});

}    // namespace client
