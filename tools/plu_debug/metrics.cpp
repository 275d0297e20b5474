#include "tools/plu_debug/metrics.h"

#include <algorithm>

#include "tools/plu_debug/health.h"
#include "tools/plu_debug/whole_file.h"

namespace client {
namespace {

constexpr const char *summaries[] = {"dump", "walk", "cntpfx"};

struct family_text {
    const char *name;
    const char *help;
    std::string samples;

    void add(const std::string &labels, const std::string &value) {
        samples += std::string(name) + labels + ' ' + value + '\n';
    }
    void write(output &out) const {
        if (!samples.empty()) {
            out.write(std::string("# HELP ") + name + ' ' + help + "\n# TYPE " + name + " gauge\n");
            out.write(samples);
        }
    }
};

struct metric_families {
    family_text up{"plu_debug_up", "1 when the process answered every question.", {}};
    family_text clean{"plu_check_clean", "1 when the check found nothing.", {}};
    family_text seconds{"plu_command_seconds", "How long the command took.", {}};
    family_text counter{"plu_counter", "A counter of the command's summary.", {}};
};

void add_run(metric_families &families, const char *name, const quiet_result &run) {
    const std::string command = std::string("command=\"") + name + '"';
    families.seconds.add('{' + command + '}', std::to_string(run.seconds));
    for (const counter_value &value : run.judge.counters()) {
        families.counter.add('{' + command + ",counter=\"" + value.row->key + "\"}",
                             std::to_string(value.number));
    }
}

// Asks everything; stops at the first question that gets no whole answer.
exit_status collect(metric_families &families, const time_limits &limits, std::string &message) {
    exit_status status = status_done;
    for (const char *name : summaries) {
        const quiet_result run = run_quietly(name, 0, limits);
        if (run.exchange.kind != outcome::done) {
            message = run.exchange.message;
            return status_of(run.exchange.kind);
        }
        add_run(families, name, run);
        status = std::max(status, run.status());
    }
    for (const char *name : health_checks()) {
        const check_result check = run_check(name, limits);
        if (check.run.exchange.kind != outcome::done) {
            message = check.run.exchange.message;
            return status_of(check.run.exchange.kind);
        }
        add_run(families, name, check.run);
        families.clean.add(std::string("{check=\"") + name + "\"}", check.clean ? "1" : "0");
        status = std::max(status, check.clean ? status_done : status_findings);
    }
    return status;
}

void write_families(const metric_families &families, output &out) {
    for (const family_text *family :
         {&families.up, &families.clean, &families.seconds, &families.counter}) {
        family->write(out);
    }
}

}    // namespace

exit_status run_metrics(const std::vector<std::string> &words, const options &chosen,
                        json_writer &json) {
    metric_families families;
    std::string message;
    const exit_status status = collect(families, chosen.limits, message);
    if (status == status_interrupted) {
        return status;    // nothing is known of the process: what the file says stays
    }
    families.up.add("", status <= status_findings ? "1" : "0");
    if (!message.empty()) {
        notice(message);
    }
    if (words.size() < 2) {
        write_families(families, json.out());
        return status;
    }
    std::string error;
    whole_file file(words[1], error);
    if (error.empty()) {
        write_families(families, file.out());
        error = file.commit();
    }
    if (!error.empty()) {
        notice(error);
        return std::max(status, status_usage);
    }
    return status;
}

}    // namespace client
