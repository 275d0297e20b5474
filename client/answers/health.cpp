#include "client/answers/health.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>

#include "client/answers/default_routes.h"
#include "client/answers/json_envelope.h"
#include "client/answers/json_reply.h"
#include "client/base/stopwatch.h"

namespace client {
namespace {

std::string bad_counters(const reply_judge &judge) {
    std::string text;
    for (const counter_value &value : judge.counters()) {
        if (value.bad && value.number != 0) {
            text += (text.empty() ? "" : " ") + value.name + '=' + std::to_string(value.number);
        }
    }
    return text;
}

// What speaks against it: the bad counters, or the first telling line.
ending judged(const quiet_result &run) {
    ending how = ending_of(run.exchange, run.judge);
    const std::string counters = bad_counters(run.judge);
    if (run.exchange.kind == outcome::done && !counters.empty()) {
        how.message = counters;
    }
    return how;
}

void write_text(const check_result &check, output &out) {
    std::array<char, 64> head{};
    std::snprintf(head.data(), head.size(), "%-10s %-10s %8.3f s", check.name, check.how.verdict,
                  check.run.seconds);
    out.write(head.data());
    out.write(check.how.message.empty() ? "" : "  " + check.how.message);
    out.write("\n");
    out.flush();
}

void write_json(const check_result &check, json_writer &json) {
    json.begin('{');
    json.text_member("check", check.name);
    json.text_member("verdict", check.how.verdict);
    json.text_member("finding", check.how.message);
    write_counters(check.run.judge, json);
    json.seconds_member("seconds", check.run.seconds);
    json.end('}');
    json.out().flush();
}

// Runs every check and returns how the worst of them ended; what ends one in the middle ends the
// others too.
ending run_all(const time_limits &limits, const std::function<void(const check_result &)> &show) {
    ending worst;
    for (const char *name : health_checks()) {
        const check_result check = run_check(name, limits);
        show(check);
        if (check.how.status > worst.status || refused(check.run)) {
            worst = check.how;
        }
        if (check.how.status > status_findings) {
            break;
        }
    }
    return worst;
}

}    // namespace

const std::vector<const char *> &health_checks() {
    static const std::vector<const char *> checks = {"ckbank",  "ckbmsf", "ckhmask",
                                                     "ckparbl", "cklkup", "cklkuphw"};
    return checks;
}

check_result run_check(const char *name, const time_limits &limits) {
    check_result check{name, run_quietly(name, 0, limits), {}};
    check.how =
        explained_misses(make_request(name, 0, 0, 0), check.run.judge, limits, judged(check.run));
    return check;
}

ending run_health(const std::vector<std::string> & /*words*/, const options &chosen,
                  local_report &report) {
    ending how =
        run_all(chosen.limits, [&](const check_result &check) { write_text(check, report.out); });
    report.out.write(std::string("health     ") + how.verdict + '\n');
    how.message.clear();    // its line has said it
    return how;
}

exit_status run_health_as_json(const std::vector<std::string> &words, const options &chosen,
                               json_writer &json) {
    const stopwatch watch;
    begin_envelope(words, json);
    json.key("checks");
    json.begin('[');
    const ending how =
        run_all(chosen.limits, [&](const check_result &check) { write_json(check, json); });
    json.end(']');
    end_envelope(watch, how, json);
    return how.status;
}

}    // namespace client
