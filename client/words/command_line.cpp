#include "client/words/command_line.h"

#include "client/words/names.h"
#include "client/words/nearest.h"

namespace client {
namespace {

constexpr std::string_view blanks = " \t\r\n\v\f";

constexpr filter_row rows[] = {
    {"include", "RE", "shows the lines that match a regular expression", filter_kind::include},
    {"exclude", "RE", "hides the lines that match a regular expression", filter_kind::exclude},
    {"count", nullptr, "shows how many lines there are, empty ones apart", filter_kind::count},
};

// The word that starts at `start`, quoted or not; sets where the next one may start.
line_word next_word(std::string_view line, size_t start, bool in_filter, bool &open_quote) {
    const char first = line[start];
    if (first == '"' || first == '\'') {
        const size_t close = line.find(first, start + 1);
        open_quote = close == std::string_view::npos;
        const size_t end = open_quote ? line.size() : close;
        return {std::string(line.substr(start + 1, end - start - 1)), false,
                open_quote ? end : end + 1};
    }
    const std::string stops = std::string(blanks) + (in_filter ? "" : "|");
    const size_t end = std::min(line.find_first_of(stops, start), line.size());
    return {std::string(line.substr(start, end - start)), false, end};
}

std::string filter_names() {
    std::string text;
    for (const filter_row &row : rows) {
        text += (text.empty() ? "" : ", ") + std::string(row.name) +
                (row.value == nullptr ? "" : std::string(" ") + row.value);
    }
    return text;
}

std::string unknown_filter(const std::string &word) {
    std::vector<std::string> names;
    for (const filter_row &row : rows) {
        names.emplace_back(row.name);
    }
    return "'" + word + "' is no filter" + did_you_mean(word, names) +
           "; filters are: " + filter_names();
}

// One filter from its words; all words behind its name are its pattern.
std::string parse_filter(std::span<const line_word> words, std::vector<filter_request> &filters) {
    if (words.empty()) {
        return "a filter is missing behind '|'; filters are: " + filter_names();
    }
    const filter_row *row = find_filter(words[0].text);
    if (row == nullptr) {
        return unknown_filter(words[0].text);
    }
    std::string pattern;
    for (const line_word &word : words.subspan(1)) {
        pattern += (pattern.empty() ? "" : " ") + word.text;
    }
    const std::string name = "'" + std::string(row->name) + "'";
    if (row->value != nullptr && pattern.empty()) {
        return name + " needs " + row->value;
    }
    if (row->value == nullptr && words.size() > 1) {
        return "'" + words[1].text + "' does not fit: " + name + " takes no word";
    }
    if (!filters.empty() && filters.back().kind == filter_kind::count) {
        return name + " does not fit: 'count' must be the last filter";
    }
    filters.push_back({row->kind, pattern});
    return {};
}

size_t next_pipe(std::span<const line_word> words, size_t from) {
    while (from < words.size() && !words[from].pipe) {
        ++from;
    }
    return from;
}

}    // namespace

std::span<const filter_row> all_filters() {
    return rows;
}

const filter_row *find_filter(std::string_view word) {
    return find_row(all_filters(), word);
}

line_words split_line(std::string_view line) {
    line_words result;
    bool in_filter = false;
    for (size_t at = line.find_first_not_of(blanks); at < line.size();
         at = line.find_first_not_of(blanks, at)) {
        if (line[at] == '#') {
            result.comment = true;
            break;
        }
        if (line[at] == '|') {
            result.words.push_back({"|", true, ++at});
            in_filter = true;
            continue;
        }
        result.words.push_back(next_word(line, at, in_filter, result.open_quote));
        at = result.words.back().end;
    }
    return result;
}

typed_line parse_line(std::string_view line) {
    const line_words split = split_line(line);
    const std::span<const line_word> words = split.words;
    typed_line result;
    size_t end = next_pipe(words, 0);
    for (const line_word &word : words.first(end)) {
        result.words.push_back(word.text);
    }
    if (split.open_quote) {
        result.error = "a quote is not closed";
    } else if (end < words.size() && result.words.empty()) {
        result.error = "a command is missing before '|'";
    }
    while (end < words.size() && result.error.empty()) {
        const size_t start = end + 1;
        end = next_pipe(words, start);
        result.error = parse_filter(words.subspan(start, end - start), result.filters);
    }
    return result;
}

}    // namespace client
