#include "client/pictures/pictures.h"

#include <algorithm>

#include "client/answers/destination.h"
#include "client/answers/quiet_run.h"
#include "client/base/number.h"
#include "client/base/stopwatch.h"
#include "client/pictures/bank_map_svg.h"
#include "client/pictures/tree_dot.h"

namespace client {
namespace {

constexpr uint64_t tn_everything = 15;    // parent, prefixes, chain and children

// The questions behind one picture; after the first that goes wrong no more are asked.
class inquiry {
public:
    explicit inquiry(const time_limits &limits) : limits_(limits) {}

    void ask(const reply_lines::taker &take, const char *name, uint64_t a1 = 0, uint64_t a2 = 0) {
        if (!going_well()) {
            return;
        }
        const quiet_result run = run_quietly(make_request(name, a1, a2, 0), limits_, take);
        if (run.exchange.kind != outcome::done || refused(run)) {
            fail(ending_of(run.exchange, run.judge));
        } else if (run.judge.result() != verdict::ok) {
            trouble_ = " ('" + run.judge.reason() + "')";
        }
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
bool take_option(std::vector<std::string> &words, const char *option) {
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
    std::vector<std::string> rest = words;
    if (!take_option(rest, "--svg")) {
        return wrong_usage("use: banks --svg [FILE]");
    }
    inquiry process(chosen.limits);
    card_usage usage;
    process.ask([&](const reply_line &line) { usage.take_summary(line); }, "banksum");
    process.ask([&](const reply_line &line) { usage.take_context(line); }, "dump");
    process.check(usage.unexpected());
    if (!process.going_well()) {
        return process.how();
    }
    return deliver(bank_map_svg(usage.banks(), utc_now()), rest.size() > 1 ? rest[1] : "",
                   report.out);
}

ending run_tree(const std::vector<std::string> &words, const options &chosen,
                local_report &report) {
    std::vector<std::string> rest = words;
    const bool dot = take_option(rest, "--dot");
    const auto address = rest.size() > 1 ? parse_number(rest[1]) : std::nullopt;
    if (!dot || rest.size() < 2) {
        return wrong_usage("use: tree NODE --dot [FILE]");
    }
    if (!address) {
        return wrong_usage("'" + rest[1] + "' is no number for NODE");
    }
    inquiry process(chosen.limits);
    tree_reader reader(*address);
    const tree_view &view = reader.view();
    process.ask([&](const reply_line &line) { reader.take_node(line); }, "tn", *address,
                tn_everything);
    reader.end_node();
    process.check(reader.unexpected());
    if (view.node.type == "SEARCH") {
        process.ask([&](const reply_line &line) { reader.take_group(line); }, "tnbl", *address);
    }
    if (!view.node.placed) {
        process.ask([&](const reply_line &line) { reader.take_root(line); }, "rootsn");
    }
    process.check(reader.unexpected());
    if (!process.going_well()) {
        return process.how();
    }
    return deliver(tree_dot(view), rest.size() > 2 ? rest[2] : "", report.out);
}

}    // namespace client
