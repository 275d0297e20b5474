#include "client/words/completion.h"

#include <algorithm>
#include <sstream>

#include "client/base/number.h"
#include "client/words/command_line.h"
#include "client/words/commands.h"
#include "client/words/local_commands.h"
#include "client/words/names.h"
#include "client/words/prefix.h"

namespace client {
namespace {

constexpr size_t name_column = 14;
constexpr const char *number_meaning = "a number, decimal or 0x hexadecimal";

/// Gathers what fits the part of the word that is there already.
class gatherer {
public:
    explicit gatherer(std::string typed) { set_.typed = std::move(typed); }

    void word(const std::string &name, const std::string &meaning, const char *value = nullptr) {
        if (set_.typed.empty() || begins(name, set_.typed)) {
            set_.candidates.push_back({name, meaning, true, value});
        }
    }
    void value(const std::string &name, const std::string &meaning) {
        set_.candidates.push_back({name, meaning, false});
    }
    void file() {
        value("FILE", "the name of a file");
        set_.file = true;
    }
    void names(bool raw, bool in_shell);
    void filters();
    /// The command is whole as it stands.
    void end() {
        if (set_.typed.empty()) {
            value("<ENTER>", "runs it");
            value("|", "a filter follows: include RE, exclude RE, count");
        }
    }
    void pattern() {
        set_.pattern = !set_.typed.empty();
        value("RE", "an extended regular expression, such as ^A.U4");
    }
    completion_set take() { return std::move(set_); }

private:
    completion_set set_;
};

// A raw name always goes to the process.
void gatherer::names(bool raw, bool in_shell) {
    for (const name_row &row : all_names()) {
        if ((in_shell || !row.in_shell_only) && (!raw || find_local_command(row.name) == nullptr)) {
            word(row.name, row.meaning);
        }
    }
}

void gatherer::filters() {
    for (const filter_row &row : all_filters()) {
        word(row.name, row.meaning, row.value);
    }
}

/// What the words behind a command's name have given so far.
class given_words {
public:
    given_words(const command &row, std::span<const std::string> words);
    void gather(gatherer &found) const;

private:
    void gather_plain(gatherer &found) const;
    [[nodiscard]] bool may_follow(const keyword &key) const;

    const command &row_;
    size_t numbers_ = 0;
    bool prefix_ = false;
    bool odd_ = false;    // a word that the command does not take
    std::vector<const keyword *> used_;
    const keyword *awaits_value_ = nullptr;
};

given_words::given_words(const command &row, std::span<const std::string> words) : row_(row) {
    for (const std::string &word : words) {
        const keyword *key = find_row(row.keywords, word);
        if (awaits_value_ != nullptr) {
            awaits_value_ = nullptr;
        } else if (key != nullptr) {
            used_.push_back(key);
            awaits_value_ = key->value != nullptr ? key : nullptr;
        } else if (parse_number(word)) {
            ++numbers_;
        } else if (looks_like_prefix(word) && row.prefix != family::none) {
            prefix_ = true;
        } else {
            odd_ = true;
        }
    }
}

bool given_words::may_follow(const keyword &key) const {
    return static_cast<size_t>(key.slot) >= numbers_ &&
           std::none_of(used_.begin(), used_.end(), [&](const keyword *other) {
               return other == &key || !go_together(*other, key);
           });
}

// The prefix, or the next number unless a keyword says the same.
void given_words::gather_plain(gatherer &found) const {
    if (prefix_ || !used_.empty()) {
        return;
    }
    if (row_.prefix != family::none && numbers_ == 0) {
        found.value("PREFIX", row_.prefix == family::v4
                                  ? "an IPv4 prefix or address, such as 10.1.2.0/24"
                                  : "an IPv6 prefix or address, such as 2001:db8::/32");
        return;
    }
    const bool named =
        std::any_of(row_.keywords.begin(), row_.keywords.end(),
                    [&](const keyword &key) { return static_cast<size_t>(key.slot) == numbers_; });
    if (numbers_ < row_.numbers.size() && row_.numbers.at(numbers_).name != nullptr &&
        (numbers_ < static_cast<size_t>(row_.required) || !named)) {
        found.value(row_.numbers.at(numbers_).name, number_meaning);
    }
}

void given_words::gather(gatherer &found) const {
    if (odd_) {
        return;
    }
    if (awaits_value_ != nullptr) {
        const bool bounded = awaits_value_->max != UINT64_MAX;
        found.value(awaits_value_->value,
                    std::string(awaits_value_->meaning) + ": " +
                        (bounded ? "0 to " + std::to_string(awaits_value_->max) : number_meaning));
        return;
    }
    gather_plain(found);
    if (!prefix_ && numbers_ < static_cast<size_t>(row_.required)) {
        return;
    }
    for (const keyword &key : row_.keywords) {
        if (may_follow(key)) {
            found.word(key.name, key.meaning, key.value);
        }
    }
    found.end();
}

// The words of a local command stand in its form: NAME, FILE, another value, or an option as it is.
void gather_local(const local_command &row, size_t given, gatherer &found) {
    std::istringstream form(row.form);
    std::string word;
    for (size_t i = 0; i <= given; ++i) {
        if (!(form >> word)) {
            word.clear();
        }
    }
    std::erase_if(word, [](char c) { return c == '[' || c == ']'; });
    if (word == "NAME") {
        found.names(false, false);
    } else if (word == "FILE") {
        found.file();
    } else if (word.starts_with('-')) {
        found.word(word, "");
    } else if (!word.empty()) {
        found.value(word, "");
    }
    if (given >= row.least) {
        found.end();
    }
}

void gather_raw(size_t given, gatherer &found) {
    if (given < 3) {
        found.value("NUMBER", number_meaning);
    }
    found.end();
}

void gather_filter(std::span<const std::string> words, gatherer &found) {
    if (words.empty()) {
        found.filters();
        return;
    }
    const filter_row *row = find_filter(words[0]);
    if (row == nullptr) {
        return;
    }
    if (row->value != nullptr) {
        found.pattern();
    }
    if (row->value == nullptr || words.size() > 1) {
        found.end();
    }
}

void gather_command(std::span<const std::string> words, bool raw, gatherer &found) {
    if (words.empty()) {
        found.names(raw, true);
        return;
    }
    const std::string name = raw ? words[0] : full_name(words[0]);
    const local_command *local = raw ? nullptr : find_local_command(name);
    const command *row = find_command(name);
    if (local != nullptr) {
        gather_local(*local, words.size() - 1, found);
    } else if (raw) {
        gather_raw(words.size() - 1, found);
    } else if (row != nullptr) {
        given_words(*row, words.subspan(1)).gather(found);
    }
}

}    // namespace

completion_set complete(std::string_view line, bool raw) {
    const line_words split = split_line(line);
    if (split.comment) {
        return {};
    }
    std::vector<std::string> words;
    bool in_filter = false;
    for (const line_word &word : split.words) {
        if (word.pipe) {
            words.clear();
            in_filter = true;
        } else {
            words.push_back(word.text);
        }
    }
    std::string typed;
    if (!words.empty() && split.words.back().end == line.size()) {
        typed = std::move(words.back());
        words.pop_back();
    }
    gatherer found(std::move(typed));
    if (in_filter) {
        gather_filter(words, found);
    } else {
        gather_command(words, raw, found);
    }
    return found.take();
}

std::string candidate_lines(const completion_set &set) {
    std::string text;
    for (const candidate &one : set.candidates) {
        std::string name = one.word + (one.value == nullptr ? "" : std::string(" ") + one.value);
        name.resize(std::max(name.size() + 1, name_column), ' ');
        text += "  " + name + one.meaning;
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text.empty() ? "  nothing fits here\n" : text;
}

}    // namespace client
