#include "client/shell/runner.h"

#include <algorithm>
#include <optional>
#include <thread>

#include "client/answers/json_envelope.h"
#include "client/answers/json_reply.h"
#include "client/answers/text_reply.h"
#include "client/base/interrupt.h"
#include "client/base/line_source.h"
#include "client/base/stopwatch.h"
#include "client/shell/caution.h"
#include "client/shell/change_log.h"
#include "client/shell/line_filter.h"
#include "client/shell/local_actions.h"
#include "client/words/arguments.h"
#include "client/words/names.h"

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
    const local_action &action = action_of(row);
    if (chosen_.json) {
        return action.run_as_json != nullptr ? action.run_as_json(words, chosen_, json)
                                             : run_local_as_json(action, words, chosen_, json);
    }
    local_report report{json.out()};
    const ending how = action.run(words, chosen_, report);
    if (!how.message.empty()) {
        json.out().flush();
        notice(place_ + how.message);
    }
    return how.status;
}

bool is_leaving(const typed_line &typed) {
    return typed.error.empty() && typed.filters.empty() && typed.words.size() == 1 &&
           is_shell_word(typed.words[0]);
}

exit_status runner::send(const parsed_command &command, const std::vector<std::string> &words,
                         json_writer &json) {
    if (!confirmed(command, chosen_)) {
        return not_run(words, interrupts_seen() > 0 ? interrupted() : wrong_usage("not deleted"));
    }
    if (&json == &json_) {    // what is filtered goes elsewhere
        warn_of_length(command, chosen_);
    }
    std::optional<change_log> log;
    if (may_change(command)) {
        log.emplace(words, command.request);
    }
    const exit_status status = chosen_.json ? run_as_json(command, words, chosen_, json)
                                            : run_as_text(command, chosen_, json.out());
    if (log) {
        log->ended(status);
    }
    return status;
}

exit_status runner::run_words(std::vector<std::string> words, json_writer &json) {
    if (!chosen_.raw) {
        words[0] = full_name(words[0]);
    }
    if (!chosen_.raw && words.size() > 1 && words.back() == "--help") {
        words = {"help", words[0]};
    }
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
    return send(command, words, json);
}

exit_status runner::run_filtered(const typed_line &typed) {
    if (chosen_.json) {
        return not_run(typed.words,
                       wrong_usage(typed.filters.empty() ? "--limit does not go with --json"
                                                         : "filters do not go with --json"));
    }
    line_filter filter(out_);
    const std::string error = filter.set_up(typed.filters, chosen_.line_limit);
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

exit_status runner::run_typed(const typed_line &typed) {
    if (!typed.error.empty()) {
        return not_run(typed.words, wrong_usage(typed.error));
    }
    if (typed.words.empty()) {
        return status_done;
    }
    return typed.filters.empty() && chosen_.line_limit == 0 ? run_words(typed.words, json_)
                                                            : run_filtered(typed);
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
        const typed_line typed = parse_line(line);
        if (is_leaving(typed)) {
            break;
        }
        const exit_status status = run_typed(typed);
        end_run();
        worst = std::max(worst, status);
        if (out_.error() != 0) {
            return worst;    // nobody is left to read
        }
        if (status != status_done && status != status_usage) {
            notice(place_ + "'" + line + "' ended with status " + std::to_string(status));
        }
        if (status != status_done && (!chosen_.keep_going || status == status_interrupted)) {
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
    return chosen_.words.empty() ? run_script() : run_typed({chosen_.words, {}, {}});
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

exit_status runner::run_alone(const typed_line &typed) {
    const exit_status status = run_typed(typed);
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
