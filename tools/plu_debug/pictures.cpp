#include "tools/plu_debug/pictures.h"

#include <algorithm>

#include "tools/plu_debug/bank_map_svg.h"
#include "tools/plu_debug/destination.h"
#include "tools/plu_debug/number.h"
#include "tools/plu_debug/quiet_run.h"
#include "tools/plu_debug/stopwatch.h"
#include "tools/plu_debug/tree_dot.h"

namespace client {
namespace {

constexpr uint64_t tn_everything = 15;    // parent, prefixes, chain and children

using lines = std::vector<std::string>;

// The questions behind one picture; after the first that goes wrong no more are asked.
class inquiry {
public:
    explicit inquiry(const time_limits &limits) : limits_(limits) {}

    lines ask(const char *name, uint64_t a1 = 0, uint64_t a2 = 0) {
        lines reply;
        if (!going_well()) {
            return reply;
        }
        const quiet_result run =
            run_quietly(make_request(name, a1, a2, 0), limits_,
                        [&](std::string_view line) { reply.emplace_back(line); });
        if (run.exchange.kind != outcome::done || refused(run)) {
            fail(ending_of(run.exchange, run.judge));
        } else if (run.judge.result() != verdict::ok) {
            trouble_ = " ('" + run.judge.reason() + "')";
        }
        return reply;
    }

    /// Takes what a reader found unexpected, if anything.
    void check(const std::string &message) {
        if (going_well() && !message.empty()) {
            fail({status_findings, verdict_name(verdict::findings), outcome_name(outcome::done),
                  message + trouble_});
        }
    }

    [[nodiscard]] bool going_well() const { return how_.status == status_done; }
    [[nodiscard]] const ending &how() const { return how_; }

private:
    void fail(const ending &how) {
        how_ = how;
        how_.message += "; nothing is drawn";
    }

    const time_limits &limits_;
    ending how_;
    std::string trouble_;    // what a reply says to be wrong on the card
};

ending deliver(const std::string &picture, const std::string &file, output &out) {
    destination target(file, out);
    if (target.error().empty()) {
        target.out().write(picture);
    }
    return target.commit({});
}

// Takes the option that names the kind of picture out of the words; false when it is not there.
bool take_option(lines &words, const char *option) {
    const auto place = std::find(words.begin(), words.end(), option);
    if (place == words.end()) {
        return false;
    }
    words.erase(place);
    return true;
}

}    // namespace

ending run_banks(const std::vector<std::string> &words, const options &chosen,
                 local_report &report) {
    lines rest = words;
    if (!take_option(rest, "--svg")) {
        return wrong_usage("use: banks --svg [FILE]");
    }
    inquiry process(chosen.limits);
    const lines summary = process.ask("banksum");
    const lines context = process.ask("dump");
    if (!process.going_well()) {
        return process.how();
    }
    bank_map map;
    process.check(read_bank_map(summary, context, map));
    if (!process.going_well()) {
        return process.how();
    }
    return deliver(bank_map_svg(map, utc_now()), rest.size() > 1 ? rest[1] : "", report.out);
}

ending run_tree(const std::vector<std::string> &words, const options &chosen,
                local_report &report) {
    lines rest = words;
    const bool dot = take_option(rest, "--dot");
    const auto address = rest.size() > 1 ? parse_number(rest[1]) : std::nullopt;
    if (!dot || rest.size() < 2) {
        return wrong_usage("use: tree NODE --dot [FILE]");
    }
    if (!address) {
        return wrong_usage("'" + rest[1] + "' is no number for NODE");
    }
    inquiry process(chosen.limits);
    tree_view view;
    const lines node = process.ask("tn", *address, tn_everything);
    if (process.going_well()) {
        process.check(read_tree_node(node, *address, view));
    }
    if (process.going_well() && view.node.type == "SEARCH") {
        process.check(read_child_groups(process.ask("tnbl", *address), view));
    }
    if (process.going_well() && !view.node.placed) {
        process.check(read_root_slot(process.ask("rootsn"), view));
    }
    if (!process.going_well()) {
        return process.how();
    }
    return deliver(tree_dot(view), rest.size() > 2 ? rest[2] : "", report.out);
}

}    // namespace client
