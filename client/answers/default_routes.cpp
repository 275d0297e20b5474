#include "client/answers/default_routes.h"

#include "client/answers/quiet_run.h"
#include "client/words/commands.h"

namespace client {
namespace {

constexpr uint64_t walk_recording = 11;

ending unexplained(const std::string &message) {
    return {status_findings, verdict_name(verdict::findings), outcome_name(outcome::done), message};
}

ending too_many(int64_t missed, int64_t defaults) {
    return unexplained("prefix_no_match=" + std::to_string(missed) + " with " +
                       std::to_string(defaults) + " default routes");
}

// Of a part of the table nobody counts the default routes, but cklkuphw shows every miss.
ending explained_below(uint64_t node, const time_limits &limits, int64_t missed,
                       const ending &how) {
    const quiet_result shown = run_quietly("cklkuphw", node, limits);
    if (shown.exchange.kind != outcome::done) {
        return ending_of(shown.exchange, shown.judge);
    }
    const int64_t defaults = shown.judge.default_misses();
    return missed <= defaults ? how : too_many(missed, defaults);
}

ending explained_in_table(const time_limits &limits, int64_t missed, const ending &how) {
    int64_t defaults = 0;
    const quiet_result walk =
        run_quietly("walk", walk_recording, limits, [&](const reply_line &line) {
            defaults += line.known != nullptr && line.known->text("prefix").ends_with("/0") ? 1 : 0;
        });
    if (walk.status() != status_done) {
        return ending_of(walk.exchange, walk.judge);
    }
    return missed <= defaults ? how : too_many(missed, defaults);
}

}    // namespace

ending explained_misses(const plu_debug_request &request, const reply_judge &judge,
                        const time_limits &limits, ending how) {
    const int64_t unshown = judge.unexplained_misses();
    if (how.status != status_done || unshown == 0) {
        return how;
    }
    const int64_t missed = judge.counter("prefix_no_match");
    if (same_word(request.name, "cklkuphw")) {
        return unexplained(std::to_string(unshown) + " misses are not shown");
    }
    return same_word(request.name, "ckall") || request.a1 == 0
               ? explained_in_table(limits, missed, how)
               : explained_below(request.a1, limits, missed, how);
}

}    // namespace client
