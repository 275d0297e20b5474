#include "client/recordings/recording_diff.h"

#include <algorithm>
#include <compare>
#include <map>

#include "client/base/interrupt.h"
#include "client/base/line_source.h"
#include "table/table_line.h"

namespace client {
namespace {

constexpr size_t bad_lines_shown = 5;

struct loaded_file {
    std::vector<table::prefix> prefixes;    // in order, each once
    ending how;
    size_t bad_lines = 0;
};

void load(const std::string &name, loaded_file &loaded) {
    line_source file(name);
    auto got = line_source::event::end;
    std::string text;
    for (size_t number = 1; (got = file.next(text)) == line_source::event::line; ++number) {
        const table::line line = table::parse_line(text);
        if (line.what == table::line::entry) {
            loaded.prefixes.push_back(line.value);
        } else if (line.what == table::line::bad && ++loaded.bad_lines <= bad_lines_shown) {
            std::string told = name;
            told.append(":").append(std::to_string(number)).append(": ").append(line.problem);
            notice(told.append(", skipped: '").append(text).append("'"));
        }
    }
    if (got != line_source::event::end) {
        loaded.how =
            got == line_source::event::interrupted ? interrupted() : file_failure(file.error());
    }
    if (loaded.bad_lines > bad_lines_shown) {
        notice(name + ": " + std::to_string(loaded.bad_lines) + " lines are no prefix");
    }
    std::ranges::sort(loaded.prefixes);
    loaded.prefixes.erase(std::unique(loaded.prefixes.begin(), loaded.prefixes.end()),
                          loaded.prefixes.end());
}

struct change_counts {
    size_t added = 0;
    size_t removed = 0;
};

// Walks both in step and writes what only one of them has.
class comparison {
public:
    explicit comparison(output &out) : out_(out) {}

    /// False when an interrupt ends it early.
    bool run(const loaded_file &before, const loaded_file &after) {
        auto old_one = before.prefixes.begin();
        auto new_one = after.prefixes.begin();
        while (old_one != before.prefixes.end() || new_one != after.prefixes.end()) {
            if (interrupts_seen() > 0) {
                return false;
            }
            const auto order = old_one == before.prefixes.end()  ? std::strong_ordering::greater
                               : new_one == after.prefixes.end() ? std::strong_ordering::less
                                                                 : *old_one <=> *new_one;
            if (std::is_lt(order)) {
                write('-', *old_one).removed += 1;
            } else if (std::is_gt(order)) {
                write('+', *new_one).added += 1;
            }
            old_one += std::is_lteq(order) ? 1 : 0;
            new_one += std::is_gteq(order) ? 1 : 0;
        }
        return true;
    }

    change_counts write_sums() {
        change_counts total;
        for (const auto &[place, counts] : sums_) {
            write_sum(
                "vrf " + std::to_string(place.first) + (place.second == 4 ? " IPv4" : " IPv6"),
                counts);
            total.added += counts.added;
            total.removed += counts.removed;
        }
        write_sum("all", total);
        return total;
    }

private:
    change_counts &write(char sign, const table::prefix &prefix) {
        out_.write(std::string(1, sign) + (prefix.family == 4 ? " U4 " : " U6 ") + text_of(prefix) +
                   ' ' + std::to_string(prefix.vrf) + '\n');
        return sums_[{prefix.vrf, prefix.family}];
    }
    void write_sum(const std::string &place, const change_counts &counts) {
        out_.write(place + ": " + std::to_string(counts.added) + " added, " +
                   std::to_string(counts.removed) + " removed\n");
    }

    output &out_;
    std::map<std::pair<unsigned, unsigned>, change_counts> sums_;
};

}    // namespace

ending run_diff(const std::vector<std::string> &words, const options & /*chosen*/,
                local_report &report) {
    loaded_file before;
    loaded_file after;
    load(words[1], before);
    if (before.how.status == status_done) {
        load(words[2], after);
    }
    for (const loaded_file *loaded : {&before, &after}) {
        if (loaded->how.status != status_done) {
            return loaded->how;
        }
    }
    comparison compared(report.out);
    if (!compared.run(before, after)) {
        return interrupted();
    }
    const change_counts total = compared.write_sums();
    const size_t bad_lines = before.bad_lines + after.bad_lines;
    report.counters = {{"added", static_cast<int64_t>(total.added)},
                       {"removed", static_cast<int64_t>(total.removed)},
                       {"bad_lines", static_cast<int64_t>(bad_lines)}};
    if (total.added + total.removed + bad_lines == 0) {
        return {};
    }
    return {status_findings, verdict_name(verdict::findings), outcome_name(outcome::done), ""};
}

}    // namespace client
