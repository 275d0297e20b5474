#include "client/answers/metrics.h"

#include <algorithm>
#include <array>

#include "client/answers/destination.h"
#include "client/answers/health.h"
#include "client/replies/card_usage.h"

namespace client {
namespace {

constexpr const char *summaries[] = {"walk", "cntpfx", "hwidxwalk"};

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
    family_text bank_size{"plu_bank_size", "Nodes that the bank holds.", {}};
    family_text bank_used{"plu_bank_used", "Nodes of the bank in use.", {}};
    family_text bank_level{"plu_bank_stride_level", "Its stride level, -1 for none.", {}};
    family_text level_value{"plu_stride_level_str_a", "The level's phu->str.a.", {}};
    family_text counter{"plu_counter", "A counter of the command's summary.", {}};

    void write(output &out) const {
        for (const family_text *family :
             {&up, &clean, &seconds, &bank_size, &bank_used, &bank_level, &level_value, &counter}) {
            family->write(out);
        }
    }
};

std::string label(const char *name, const std::string &value) {
    return std::string("{") + name + "=\"" + value + "\"}";
}

// Asks everything; stops at the first question that gets no whole answer.
class collector {
public:
    collector(metric_families &families, const time_limits &limits)
        : families_(families), limits_(limits) {}

    ending collect();

private:
    // Each is false when nothing more can be asked.
    bool ask(const char *name, const reply_lines::taker &take = {});
    bool check(const char *name);
    bool add(const char *name, const quiet_result &run, const ending &how);
    void add_usage(const card_usage &usage);

    metric_families &families_;
    const time_limits &limits_;
    bool all_answered_ = true;
    ending how_;
};

bool collector::add(const char *name, const quiet_result &run, const ending &how) {
    if (how.status > how_.status || refused(run)) {
        how_ = how;
        how_.message = std::string(name) + ": " + how.message;
    }
    if (how.status > status_findings || refused(run)) {
        all_answered_ = false;
        return how.status <= status_findings;
    }
    families_.seconds.add(label("command", name), std::to_string(run.seconds));
    for (const counter_value &value : run.judge.counters()) {
        families_.counter.add(
            std::string("{command=\"") + name + "\",counter=\"" + value.name + "\"}",
            std::to_string(value.number));
    }
    return true;
}

bool collector::ask(const char *name, const reply_lines::taker &take) {
    const quiet_result run = run_quietly(name, 0, limits_, take);
    return add(name, run, ending_of(run.exchange, run.judge));
}

bool collector::check(const char *name) {
    const check_result result = run_check(name, limits_);
    if (!add(name, result.run, result.how)) {
        return false;
    }
    if (refused(result.run)) {
        return true;
    }
    families_.clean.add(label("check", name), result.how.status == status_done ? "1" : "0");
    return true;
}

void collector::add_usage(const card_usage &usage) {
    const std::string unexpected = usage.unexpected();
    if (!unexpected.empty()) {
        how_ = {status_findings, verdict_name(verdict::findings), outcome_name(outcome::done),
                unexpected};
        return;
    }
    for (size_t id = 0; id < usage.banks().size(); ++id) {
        const bank_state &bank = usage.banks().at(id);
        const std::string labels = label("bank", std::to_string(id));
        families_.bank_size.add(labels, std::to_string(bank.size));
        families_.bank_used.add(labels, std::to_string(bank.used));
        families_.bank_level.add(labels, std::to_string(bank.level));
    }
    for (const auto &[level, value] : usage.levels()) {
        families_.level_value.add(label("level", std::to_string(level)), std::to_string(value));
    }
}

ending collector::collect() {
    card_usage usage;
    if (!ask("banksum", [&](const reply_line &line) { usage.take_summary(line); }) ||
        !ask("dump", [&](const reply_line &line) { usage.take_context(line); })) {
        return how_;
    }
    if (all_answered_) {
        add_usage(usage);
    }
    for (const char *name : summaries) {
        if (!ask(name)) {
            return how_;
        }
    }
    for (const char *name : health_checks()) {
        if (!check(name)) {
            return how_;
        }
    }
    families_.up.add("", all_answered_ ? "1" : "0");
    return how_;
}

/// What the file says stays then.
bool says_nothing_of_the_process(const ending &how) {
    const std::string_view outcome_word = how.outcome;
    return std::ranges::any_of(
        std::array{outcome::interrupted, outcome::busy, outcome::no_permission},
        [&](outcome kind) { return outcome_word == outcome_name(kind); });
}

}    // namespace

ending run_metrics(const std::vector<std::string> &words, const options &chosen,
                   local_report &report) {
    destination target(words.size() < 2 ? "" : words[1], report.out);
    if (!target.error().empty()) {
        return file_failure(target.error());
    }
    metric_families families;
    ending how = collector(families, chosen.limits).collect();
    if (says_nothing_of_the_process(how)) {
        how.message += "; no metrics are written";
        return how;
    }
    if (families.up.samples.empty()) {
        families.up.add("", "0");
    }
    families.write(target.out());
    return target.commit(how);
}

}    // namespace client
