#include "tools/plu_debug/health.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/plu_debug/json_reply.h"
#include "tools/plu_debug/stopwatch.h"

namespace client {
namespace {

constexpr uint64_t walk_recording = 11;

// Default routes have no position in a mask, so the lookup checks always miss them.
int64_t count_default_routes(const time_limits &limits) {
    int64_t count = 0;
    (void)run_quietly("walk", walk_recording, limits, [&](std::string_view line) {
        count += line.find("/0 ") != std::string_view::npos ? 1 : 0;
    });
    return count;
}

int64_t counter_of(const reply_judge &judge, std::string_view key) {
    int64_t number = 0;
    for (const counter_value &value : judge.counters()) {
        number = key == value.row->key ? value.number : number;
    }
    return number;
}

std::string bad_counters(const reply_judge &judge) {
    std::string text;
    for (const counter_value &value : judge.counters()) {
        if (value.row->bad && value.number != 0) {
            text += (text.empty() ? "" : " ") + std::string(value.row->key) + '=' +
                    std::to_string(value.number);
        }
    }
    return text;
}

std::string finding_of(const quiet_result &run) {
    if (run.exchange.kind != outcome::done) {
        return run.exchange.message;
    }
    const std::string counters = bad_counters(run.judge);
    return counters.empty() ? run.judge.reason() : counters;
}

const char *state_of(const check_result &check) {
    if (check.run.exchange.kind != outcome::done) {
        return "incomplete";
    }
    return check.clean                                    ? "ok"
           : check.run.judge.result() == verdict::refused ? "refused"
                                                          : "findings";
}

void write_text(const check_result &check, output &out) {
    std::array<char, 64> head{};
    std::snprintf(head.data(), head.size(), "%-10s %-10s %8.3f s", check.name, state_of(check),
                  check.run.seconds);
    out.write(head.data());
    out.write(check.finding.empty() ? "" : "  " + check.finding);
    out.write("\n");
    out.flush();
}

void write_json(const check_result &check, json_writer &json) {
    json.begin('{');
    json.text_member("check", check.name);
    json.text_member("verdict", state_of(check));
    json.text_member("finding", check.finding);
    write_counters(check.run.judge, json);
    json.seconds_member("seconds", check.run.seconds);
    json.end('}');
}

exit_status status_of_check(const check_result &check) {
    if (check.run.exchange.kind != outcome::done) {
        return status_of(check.run.exchange.kind);
    }
    return check.clean ? status_done : status_findings;
}

const char *overall(exit_status status) {
    return status == status_done ? "ok" : status == status_findings ? "findings" : "incomplete";
}

}    // namespace

const std::vector<const char *> &health_checks() {
    static const std::vector<const char *> checks = {"ckbank",  "ckbmsf", "ckhmask",
                                                     "ckparbl", "cklkup", "cklkuphw"};
    return checks;
}

check_result run_check(const char *name, const time_limits &limits) {
    check_result check{name, run_quietly(name, 0, limits), false, {}};
    check.clean = check.run.status() == status_done;
    if (check.clean && check.run.judge.unexplained_misses() > 0) {
        const int64_t missed = counter_of(check.run.judge, "prefix_no_match");
        const int64_t defaults = count_default_routes(limits);
        check.clean = missed <= defaults;
        if (!check.clean) {
            check.finding = "prefix_no_match=" + std::to_string(missed) + " with " +
                            std::to_string(defaults) + " default routes";
        }
    } else if (!check.clean) {
        check.finding = finding_of(check.run);
    }
    return check;
}

exit_status run_health(const std::vector<std::string> & /*words*/, const options &chosen,
                       json_writer &json) {
    const stopwatch watch;
    if (chosen.json) {
        json.begin('{');
        json.text_member("command", "health");
        json.text_member("time", utc_now());
        json.key("checks");
        json.begin('[');
    }
    exit_status status = status_done;
    for (const char *name : health_checks()) {
        const check_result check = run_check(name, chosen.limits);
        if (chosen.json) {
            write_json(check, json);
        } else {
            write_text(check, json.out());
        }
        status = std::max(status, status_of_check(check));
        if (status > status_findings) {
            break;    // what ended this one ends the others too
        }
    }
    if (chosen.json) {
        json.end(']');
        json.text_member("verdict", overall(status));
        json.seconds_member("seconds", watch.seconds());
        json.number_member("exit_status", status);
        json.end('}');
    } else {
        json.out().write(std::string("health     ") + overall(status) + '\n');
    }
    return status;
}

}    // namespace client
