#include "client/words/options.h"

#include <charconv>
#include <cstdlib>
#include <optional>

#include "client/base/number.h"
#include "client/words/arguments.h"
#include "client/words/local_commands.h"
#include "client/words/names.h"
#include "client/words/nearest.h"

namespace client {
namespace {

constexpr double longest_seconds = 1e6;
constexpr const char *help_name = "help";

std::optional<milliseconds> parse_seconds(const std::string &word) {
    double seconds = 0;
    const char *end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, seconds, std::chars_format::fixed);
    if (error != std::errc() || stop != end || !(seconds >= 0) || seconds > longest_seconds) {
        return std::nullopt;
    }
    return milliseconds(static_cast<int64_t>(seconds * 1000));
}

bool set_flag(bool &flag) {
    return flag = true;
}

bool set_limits(time_limits &limits, const std::string &word) {
    const auto seconds = parse_seconds(word);
    limits.first = seconds.value_or(limits.first);
    limits.gap = seconds.value_or(limits.gap);
    return seconds.has_value() && seconds->count() > 0;
}

bool set_repeat(options &chosen, const std::string &word) {
    const auto number = parse_number(word);
    chosen.repeat = number.value_or(1);
    chosen.repeat_given = true;
    return number.has_value();
}

bool set_line_limit(options &chosen, const std::string &word) {
    const auto number = parse_number(word);
    chosen.line_limit = number.value_or(0);
    return chosen.line_limit > 0;
}

bool set_interval(options &chosen, const std::string &word) {
    const auto seconds = parse_seconds(word);
    chosen.interval = seconds.value_or(chosen.interval);
    chosen.interval_given = true;
    return seconds.has_value();
}

bool set_local_command(options &chosen, const char *name) {
    chosen.instead = name;
    return true;
}

bool environment_says_read_only() {
    const char *value = std::getenv("PLU_DEBUG_READ_ONLY");
    return value != nullptr && *value != '\0' && std::string_view(value) != "0";
}

}    // namespace

std::span<const option_row> all_options() {
    static const option_row rows[] = {
        {"-t", "--timeout", "SEC",
         "give up when the process does nothing for SEC seconds before its first answer (30), or "
         "before "
         "a further one (120)",
         [](options &o, const std::string &word) { return set_limits(o.limits, word); }},
        {"-f", "--file", "FILE", "run the commands of FILE, one a line ('-': standard input)",
         [](options &o, const std::string &word) { return !(o.file = word).empty(); }},
        {"-k", "--keep-going", nullptr, "with a file: go on after a command that failed",
         [](options &o, const std::string &) { return set_flag(o.keep_going); }},
        {"-j", "--json", nullptr,
         "write JSON: one object, or an array of objects for several commands",
         [](options &o, const std::string &) { return set_flag(o.json); }},
        {nullptr, "--json=lines", nullptr, "the same with the reply's lines as they are, not typed",
         [](options &o, const std::string &) { return o.json = o.json_lines = true; }},
        {"-r", "--repeat", "N", "run the command N times, with time stamps (0: until interrupted)",
         [](options &o, const std::string &word) { return set_repeat(o, word); }},
        {"-i", "--interval", "SEC",
         "start a run every SEC seconds (1); without -r until interrupted",
         [](options &o, const std::string &word) { return set_interval(o, word); }},
        {"-n", "--limit", "N", "show at most N lines of each reply",
         [](options &o, const std::string &word) { return set_line_limit(o, word); }},
        {"-y", "--yes", nullptr, "delete default routes without asking",
         [](options &o, const std::string &) { return set_flag(o.yes); }},
        {nullptr, "--read-only", nullptr,
         "refuse what changes the card; so does PLU_DEBUG_READ_ONLY=1 in the environment",
         [](options &o, const std::string &) { return set_flag(o.read_only); }},
        {nullptr, "--raw", nullptr,
         "send NAME and up to three numbers as they are, also a NAME that is not in the table",
         [](options &o, const std::string &) { return set_flag(o.raw); }},
        {nullptr, "--help", nullptr, "show this help, or behind NAME that of one command",
         [](options &o, const std::string &) { return set_local_command(o, help_name); }},
        {nullptr, "--version", nullptr, "show the version",
         [](options &o, const std::string &) { return set_local_command(o, "version"); }},
    };
    return rows;
}

namespace {

const option_row *find_option(const std::string &name) {
    for (const option_row &row : all_options()) {
        if (name == row.long_name || (row.short_name != nullptr && name == row.short_name)) {
            return &row;
        }
    }
    return nullptr;
}

std::string unknown_option(const std::string &name) {
    std::vector<std::string> names;
    for (const option_row &row : all_options()) {
        names.emplace_back(row.long_name);
    }
    return "'" + name + "' is no option" + did_you_mean(name, names) +
           "; 'plu_debug --help' lists them";
}

// An option word may carry its value: --timeout=5 or -t5.
struct option_word {
    std::string name;
    std::optional<std::string> value;
};

option_word split_option(const std::string &word) {
    const size_t equals = word.find('=');
    if (word.starts_with("--") && equals != std::string::npos && find_option(word) == nullptr) {
        return {word.substr(0, equals), word.substr(equals + 1)};
    }
    if (!word.starts_with("--") && word.size() > 2 && find_option(word.substr(0, 2)) != nullptr) {
        return {word.substr(0, 2), word.substr(2)};
    }
    return {word, std::nullopt};
}

bool is_option(const std::string &word) {
    const bool number = word.size() > 1 && word[1] >= '0' && word[1] <= '9';
    return word.size() > 1 && word[0] == '-' && !number && !is_listing(word);
}

// Options of a local command are words of that command.
bool belongs_to_command(const std::string &word, const std::vector<std::string> &words) {
    const local_command *row = words.empty() ? nullptr : find_local_command(full_name(words[0]));
    return row != nullptr && row->option != nullptr && word == row->option;
}

std::string apply(options &result, const std::vector<std::string> &words, size_t &index) {
    option_word word = split_option(words[index]);
    const option_row *row = find_option(word.name);
    if (row == nullptr) {
        return unknown_option(word.name);
    }
    if (row->value == nullptr && word.value) {
        return "'" + word.name + "' takes no value";
    }
    if (row->value != nullptr && !word.value) {
        if (index + 1 == words.size()) {
            return "'" + word.name + "' needs " + row->value;
        }
        word.value = words[++index];
    }
    if (!row->set(result, word.value.value_or(""))) {
        return "'" + *word.value + "' is no " + row->value + " for '" + word.name + "'";
    }
    return {};
}

}    // namespace

options parse_options(const std::vector<std::string> &words, std::string &error) {
    options result;
    result.read_only = environment_says_read_only();
    bool options_end = false;
    for (size_t i = 0; i < words.size(); ++i) {
        if (!options_end && words[i] == "--") {
            options_end = true;
        } else if (!options_end && is_option(words[i]) &&
                   !belongs_to_command(words[i], result.words)) {
            const std::string wrong = apply(result, words, i);
            error = error.empty() ? wrong : error;    // --json may still come
        } else {
            result.words.push_back(words[i]);
        }
    }
    if (error.empty() && result.instead != nullptr) {
        options plain;
        plain.json = result.json;
        plain.words = {result.instead};
        if (result.instead == help_name && !result.words.empty()) {
            plain.words.push_back(result.words[0]);
        }
        return plain;
    }
    if (result.interval_given && !result.repeat_given) {
        result.repeat = 0;
    }
    if (error.empty() && !result.file.empty() && !result.words.empty()) {
        error = "'" + result.words[0] + "': a command and --file exclude each other";
    }
    return result;
}

}    // namespace client
