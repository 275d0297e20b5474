#include <algorithm>

#include "client/replies/form_table.h"
#include "client/replies/forms.h"

namespace client {
namespace {

using form_text::take_until;

struct meaning_row {
    std::string_view word;
    meaning means;
    std::string_view member;    // where such forms go unless they say
};

constexpr meaning_row meanings[] = {
    {"progress", meaning::progress, ""},
    {"data", meaning::data, ""},
    {"summary", meaning::summary, ""},
    {"finding", meaning::finding, "findings[]"},
    {"unreadable", meaning::unreadable, "findings[]"},
    {"refusal", meaning::refusal, "refusals[]"},
    {"code", meaning::code, ""},
};

constexpr bool is_form(std::string_view line) {
    return !line.empty() && line[0] != '#' && line[0] != '[';
}

/// The next word, with the blank behind it.
consteval std::string_view take_word(std::string_view &line) {
    const std::string_view word = take_until(line, " ");
    line.remove_prefix(1);
    return word;
}

consteval form_row read_row(std::string_view line, std::string_view commands) {
    const std::string_view word = take_word(line);
    const auto *means = std::ranges::find(meanings, word, &meaning_row::word);
    if (means == std::end(meanings) || !line.ends_with('"')) {
        throw "no form";
    }
    form_row row{word, commands, {}, means->means, means->member};
    if (line[0] != '"') {
        row.name = take_word(line);
    }
    if (line[0] != '"') {
        row.member = take_word(line);
    }
    row.text = line.substr(1, line.size() - 2);
    return row;
}

constexpr size_t count_forms() {
    size_t count = 0;
    for (std::string_view rest = form_table; !rest.empty(); rest.remove_prefix(1)) {
        count += is_form(take_until(rest, "\n")) ? 1 : 0;
    }
    return count;
}

consteval auto compile_table() {
    std::array<form, count_forms()> forms;
    size_t count = 0;
    std::string_view commands;
    for (std::string_view rest = form_table; !rest.empty(); rest.remove_prefix(1)) {
        const std::string_view line = take_until(rest, "\n");
        if (line.starts_with('[')) {
            commands = line.substr(1, line.size() - 2);
        } else if (is_form(line)) {
            forms[count++] = compile_form(read_row(line, commands));
        }
    }
    return forms;
}

constexpr auto compiled = compile_table();

}    // namespace

std::span<const form> all_forms() {
    return compiled;
}

}    // namespace client
