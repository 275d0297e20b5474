#include "tools/plu_debug/pictures.h"

#include <algorithm>

#include "tools/plu_debug/bank_map_svg.h"
#include "tools/plu_debug/number.h"
#include "tools/plu_debug/quiet_run.h"
#include "tools/plu_debug/stopwatch.h"
#include "tools/plu_debug/tree_dot.h"
#include "tools/plu_debug/whole_file.h"

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
        if (status_ != status_done) {
            return reply;
        }
        const quiet_result run =
            run_quietly(make_request(name, a1, a2, 0), limits_,
                        [&](std::string_view line) { reply.emplace_back(line); });
        if (run.exchange.kind != outcome::done) {
            fail(run.exchange.message, status_of(run.exchange.kind));
        } else if (run.judge.result() == verdict::refused) {
            fail(run.judge.reason(), status_findings);
        } else if (run.judge.result() != verdict::ok) {
            trouble_ = " ('" + run.judge.reason() + "')";
        }
        return reply;
    }

    /// Takes what a reader found unexpected, if anything.
    void check(const std::string &message) {
        if (status_ == status_done && !message.empty()) {
            fail(message + trouble_, status_findings);
        }
    }

    [[nodiscard]] exit_status status() const { return status_; }

private:
    void fail(const std::string &message, exit_status status) {
        status_ = status;
        notice(message + "; nothing is drawn");
    }

    const time_limits &limits_;
    exit_status status_ = status_done;
    std::string trouble_;    // what a reply says to be wrong on the card
};

exit_status deliver(const std::string &picture, const std::string &file, output &out) {
    if (file.empty() || file == "-") {
        out.write(picture);
        return status_done;
    }
    std::string error;
    whole_file target(file, error);
    if (error.empty()) {
        target.out().write(picture);
        error = target.commit();
    }
    if (!error.empty()) {
        notice(error);
        return status_usage;
    }
    return status_done;
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

exit_status run_banks(const std::vector<std::string> &words, const options &chosen,
                      json_writer &json) {
    lines rest = words;
    if (!take_option(rest, "--svg")) {
        notice("use: banks --svg [FILE]");
        return status_usage;
    }
    inquiry process(chosen.limits);
    const lines summary = process.ask("banksum");
    const lines context = process.ask("dump");
    if (process.status() != status_done) {
        return process.status();
    }
    bank_map map;
    process.check(read_bank_map(summary, context, map));
    if (process.status() != status_done) {
        return process.status();
    }
    return deliver(bank_map_svg(map, utc_now()), rest.size() > 1 ? rest[1] : "", json.out());
}

exit_status run_tree(const std::vector<std::string> &words, const options &chosen,
                     json_writer &json) {
    lines rest = words;
    const bool dot = take_option(rest, "--dot");
    const auto address = rest.size() > 1 ? parse_number(rest[1]) : std::nullopt;
    if (!dot || rest.size() < 2) {
        notice("use: tree NODE --dot [FILE]");
        return status_usage;
    }
    if (!address) {
        notice("'" + rest[1] + "' is no number for NODE");
        return status_usage;
    }
    inquiry process(chosen.limits);
    tree_view view;
    const lines node = process.ask("tn", *address, tn_everything);
    if (process.status() == status_done) {
        process.check(read_tree_node(node, *address, view));
    }
    if (process.status() == status_done && view.node.type == "SEARCH") {
        process.check(read_child_groups(process.ask("tnbl", *address), view));
    }
    if (process.status() == status_done && !view.node.placed) {
        process.check(read_root_slot(process.ask("rootsn"), view));
    }
    if (process.status() != status_done) {
        return process.status();
    }
    return deliver(tree_dot(view), rest.size() > 2 ? rest[2] : "", json.out());
}

}    // namespace client
