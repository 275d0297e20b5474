#include "tools/plu_debug/runner.h"

#include <algorithm>
#include <thread>

#include "tools/plu_debug/arguments.h"
#include "tools/plu_debug/interrupt.h"
#include "tools/plu_debug/json_envelope.h"
#include "tools/plu_debug/json_reply.h"
#include "tools/plu_debug/line_filter.h"
#include "tools/plu_debug/line_source.h"
#include "tools/plu_debug/stopwatch.h"
#include "tools/plu_debug/text_reply.h"

namespace client {
namespace {

// Sleeps until the time has come; false when an interrupt came first.
bool sleep_until(std::chrono::steady_clock::time_point time) {
    constexpr milliseconds slice{50};
    while (interrupts_seen() == 0) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= time) {
            return true;
        }
        std::this_thread::sleep_for(
            std::min<std::chrono::steady_clock::duration>(slice, time - now));
    }
    return false;
}

/// What --read-only says to a command; empty when it lets it pass.
std::string read_only_objection(const parsed_command &command) {
    const client::command *row =
        command.row != nullptr ? command.row : find_command(command.request.name);
    if (row == nullptr && !is_listing(command.request.name)) {
        return "'" + std::string(command.request.name) +
               "' is unknown, and --read-only sends nothing unknown";
    }
    if (row != nullptr && row->changes_state) {
        return "'" + std::string(row->name) +
               "' changes the card's state, which --read-only refuses";
    }
    return {};
}

}    // namespace

// What was written so far goes before the message.
exit_status runner::not_run(const std::vector<std::string> &words, const ending &how) {
    out_.flush();
    if (how.status != status_interrupted) {
        notice(place_ + how.message);
    }
    if (chosen_.json) {
        write_unsent(words, how, json_);
    }
    return how.status;
}

// Whoever follows the output sees each command's when it is there.
void runner::end_run() {
    if (chosen_.json) {
        out_.write("\n");
    }
    out_.flush();
}

exit_status runner::run_local(const local_command &row, const std::vector<std::string> &words,
                              json_writer &json) {
    const size_t count = words.size() - 1;
    if (count < row.least || count > row.most) {
        return not_run(words, wrong_usage("use: " + usage_of(row)));
    }
    if (chosen_.json) {
        return row.run_as_json != nullptr ? row.run_as_json(words, chosen_, json)
                                          : run_local_as_json(row, words, chosen_, json);
    }
    local_report report{json.out()};
    const ending how = row.run(words, chosen_, report);
    if (!how.message.empty()) {
        json.out().flush();
        notice(place_ + how.message);
    }
    return how.status;
}

exit_status runner::run_words(const std::vector<std::string> &words, json_writer &json) {
    const local_command *local = chosen_.raw ? nullptr : find_local_command(words[0]);
    if (local != nullptr) {
        return run_local(*local, words, json);
    }
    const parsed_command command = parse_command(words, chosen_.raw);
    if (!command.error.empty()) {
        return not_run(words, wrong_usage(command.error));
    }
    const std::string objection = chosen_.read_only ? read_only_objection(command) : "";
    if (!objection.empty()) {
        return not_run(words, wrong_usage(objection));
    }
    for (const std::string &note : command.notes) {
        notice(place_ + "note: " + note);
    }
    return chosen_.json ? run_as_json(command, words, chosen_, json)
                        : run_as_text(command, chosen_, json.out());
}

exit_status runner::run_filtered(const typed_line &typed) {
    if (chosen_.json) {
        return not_run(typed.words, wrong_usage("filters do not go with --json"));
    }
    line_filter filter(out_);
    const std::string error = filter.set_up(typed.filters);
    if (!error.empty()) {
        return not_run(typed.words, wrong_usage(error));
    }
    output filtered(filter);
    json_writer text(filtered);
    const exit_status status = run_words(typed.words, text);
    filtered.flush();
    filter.finish(status == status_done || status == status_findings);
    return status;
}

exit_status runner::run_line(const std::string &line) {
    const typed_line typed = parse_line(line);
    if (!typed.error.empty()) {
        return not_run(typed.words, wrong_usage(typed.error));
    }
    if (typed.words.empty()) {
        return status_done;
    }
    return typed.filters.empty() ? run_words(typed.words, json_) : run_filtered(typed);
}

// One command a line. Ends at the first that fails, unless told to go on; an interrupt always ends
// it.
exit_status runner::run_script() {
    line_source input(chosen_.file);
    exit_status worst = status_done;
    auto got = line_source::event::end;
    std::string line;
    for (size_t number = 1; (got = input.next(line)) == line_source::event::line; ++number) {
        place_ = input.name() + ':' + std::to_string(number) + ": ";
        const exit_status status = run_line(line);
        end_run();
        worst = std::max(worst, status);
        if (out_.error() != 0) {
            return worst;    // nobody is left to read
        }
        if (status != status_done && (!chosen_.keep_going || status == status_interrupted)) {
            if (status != status_usage) {
                notice(place_ + "'" + line + "' ended with status " + std::to_string(status));
            }
            return status;
        }
    }
    place_.clear();
    if (got == line_source::event::interrupted) {
        return not_run({}, interrupted());
    }
    return got == line_source::event::failed ? not_run({}, file_failure(input.error())) : worst;
}

exit_status runner::run_once() {
    return chosen_.words.empty() ? run_script() : run_words(chosen_.words, json_);
}

// Starts every interval, or as soon after as the run before has ended.
exit_status runner::run_repeatedly() {
    exit_status worst = status_done;
    auto next = std::chrono::steady_clock::now();
    for (uint64_t run = 1; chosen_.repeat == 0 || run <= chosen_.repeat; ++run) {
        if (!sleep_until(next)) {
            return not_run({}, interrupted());
        }
        next = std::max(next + chosen_.interval, std::chrono::steady_clock::now());
        if (!chosen_.json) {
            out_.write("== " + utc_now() + " run " + std::to_string(run) + '\n');
        }
        const exit_status status = run_once();
        end_run();
        worst = std::max(worst, status);
        if (status == status_usage || status == status_interrupted) {
            return status;
        }
        if (out_.error() != 0) {
            return worst;
        }
    }
    return worst;
}

exit_status runner::run() {
    const bool script = chosen_.words.empty();
    const bool repeated = chosen_.repeat_given || chosen_.interval_given;
    if (script && repeated && (chosen_.file.empty() || chosen_.file == "-")) {
        return reject("standard input cannot be read again; to repeat needs a command or a file");
    }
    const bool several = chosen_.json && (repeated || script);
    if (several) {
        json_.begin('[');
    }
    const exit_status status = repeated ? run_repeatedly() : run_once();
    if (several) {
        json_.end(']');
    }
    if (chosen_.json) {
        json_.end_document();
    }
    return status;
}

exit_status runner::run_alone(const std::string &line) {
    const exit_status status = run_line(line);
    if (chosen_.json) {
        json_.end_document();
    }
    return status;
}

exit_status runner::reject(const std::string &message) {
    const exit_status status = not_run(chosen_.words, wrong_usage(message));
    if (chosen_.json) {
        json_.end_document();
    }
    return status;
}

}    // namespace client
