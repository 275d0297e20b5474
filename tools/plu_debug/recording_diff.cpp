#include "tools/plu_debug/recording_diff.h"

#include <map>

#include "tools/plu_debug/interrupt.h"
#include "tools/plu_debug/line_source.h"
#include "tools/plu_debug/prefix_sorter.h"

namespace client {
namespace {

constexpr size_t bad_lines_shown = 5;

struct loaded_file {
    prefix_sorter prefixes;
    ending how;
    size_t bad_lines = 0;
};

const char *no_room = "no room for temporary files";

bool is_comment(std::string_view line) {
    const size_t start = line.find_first_not_of(" \t\r");
    return start == std::string_view::npos || line[start] == '#';
}

void load(const std::string &name, loaded_file &loaded) {
    line_source file(name);
    auto got = line_source::event::end;
    std::string line;
    for (size_t number = 1; (got = file.next(line)) == line_source::event::line; ++number) {
        if (is_comment(line)) {
            continue;
        }
        const auto prefix = parse_table_line(line);
        if (!prefix && ++loaded.bad_lines <= bad_lines_shown) {
            std::string text = name;
            text.append(":").append(std::to_string(number));
            notice(text.append(": no prefix, skipped: '").append(line).append("'"));
        }
        if (prefix && !loaded.prefixes.add(*prefix)) {
            loaded.how = file_failure(no_room);
            return;
        }
    }
    if (got == line_source::event::interrupted) {
        loaded.how = interrupted();
    } else if (got == line_source::event::failed) {
        loaded.how = file_failure(file.error());
    } else if (!loaded.prefixes.finish()) {
        loaded.how = file_failure(no_room);
    }
    if (loaded.bad_lines > bad_lines_shown) {
        notice(name + ": " + std::to_string(loaded.bad_lines) + " lines are no prefix");
    }
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
    bool run(prefix_sorter &before, prefix_sorter &after) {
        auto old_one = before.next();
        auto new_one = after.next();
        while (old_one || new_one) {
            if (interrupts_seen() > 0) {
                return false;
            }
            if (!new_one || (old_one && *old_one < *new_one)) {
                write('-', *old_one).removed += 1;
                old_one = before.next();
            } else if (!old_one || *new_one < *old_one) {
                write('+', *new_one).added += 1;
                new_one = after.next();
            } else {
                old_one = before.next();
                new_one = after.next();
            }
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
    change_counts &write(char sign, const table_prefix &prefix) {
        out_.write(std::string(1, sign) + ' ' + table_text(prefix) + '\n');
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
    if (!compared.run(before.prefixes, after.prefixes)) {
        return interrupted();
    }
    if (before.prefixes.failed() || after.prefixes.failed()) {
        return file_failure("a temporary file cannot be read; the comparison is not whole");
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
