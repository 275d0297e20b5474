#include "client/words/help.h"

#include <algorithm>

#include "client/words/arguments.h"
#include "client/words/command_line.h"
#include "client/words/local_commands.h"
#include "client/words/names.h"
#include "client/words/options.h"

namespace client {
namespace {

constexpr size_t name_column = 14;
constexpr size_t option_column = 22;
constexpr size_t local_column = 24;

std::string padded(std::string text, size_t width) {
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

std::string option_lines() {
    std::string text;
    for (const option_row &row : all_options()) {
        std::string names = row.short_name == nullptr ? "    " : std::string(row.short_name) + ", ";
        names += row.long_name;
        if (row.value != nullptr) {
            names += std::string(" ") + row.value;
        }
        text += "  " + padded(names, option_column) + row.help + '\n';
    }
    return text;
}

std::string command_lines() {
    std::string text;
    for (const command &row : all_commands()) {
        text += "  " + padded(row.name, name_column) + row.meaning + '\n';
    }
    return text;
}

std::string local_lines() {
    std::string text;
    for (const local_command &row : local_commands()) {
        text += "  " + padded(usage_of(row), local_column) + row.meaning + '\n';
    }
    return text;
}

std::string filter_lines() {
    std::string text;
    for (const filter_row &row : all_filters()) {
        const std::string value = row.value == nullptr ? "" : std::string(" ") + row.value;
        text +=
            "  " + padded(std::string("| ") + row.name + value, name_column) + row.meaning + '\n';
    }
    return text;
}

std::string status_lines() {
    std::string text;
    for (const status_row &row : all_statuses()) {
        text += "  " + padded(std::to_string(row.status), name_column) + row.meaning + '\n';
    }
    return text;
}

std::string shell_lines() {
    std::string text;
    for (const name_row &row : all_names()) {
        if (row.in_shell_only) {
            text += "  " + padded(row.name, local_column) + row.meaning + '\n';
        }
    }
    return text;
}

std::string shell_help_text() {
    return "NAME [ARGUMENT...] [| FILTER]...     'help NAME' tells the arguments of a command\n"
           "Names and words may be cut short while only one fits.\n"
           "\nKeys: TAB completes a word, ? shows what can stand here (Ctrl-V ? types one),\n"
           "Ctrl-R searches the history, Ctrl-C ends a reply or clears the line, Ctrl-D leaves.\n"
           "\nFilters, one behind the other:\n" +
           filter_lines() + "\nThe client's own commands:\n" + local_lines() + shell_lines() +
           "\nThe process's commands:\n" + command_lines();
}

std::string command_line_help_text() {
    return "usage: plu_debug [OPTION...] NAME [ARGUMENT...]\n"
           "       plu_debug [OPTION...] -f FILE\n"
           "       plu_debug [OPTION...]        (a shell on a terminal, else commands on standard "
           "input)\n"
           "Asks the PLU background process on this card. Names and words may be cut short while "
           "only "
           "one fits.\n"
           "\nOptions:\n" +
           option_lines() + "\nThe client's own commands:\n" + local_lines() + shell_lines() +
           "\nThe process's commands ('plu_debug help NAME' tells the arguments, 'plu_debug -h' "
           "asks the "
           "process):\n" +
           command_lines() + "\nIn a file and in the shell, filters may follow a command:\n" +
           filter_lines() + "\nExit status:\n" + status_lines();
}

std::string command_help(std::string_view name) {
    const command *row = find_command(name);
    if (row == nullptr) {
        return {};
    }
    const std::string natural = natural_form(*row);
    const std::string numbers = number_form(*row);
    std::string text = std::string(row->name) + ": " + row->meaning + '\n';
    text += std::string("  ") + row->name + (natural.empty() ? "" : " ") + natural + '\n';
    if (!numbers.empty() && numbers != natural) {
        text += std::string("  ") + row->name + ' ' + numbers + '\n';
    }
    for (const keyword &key : row->keywords) {
        const std::string value = key.value == nullptr ? "" : std::string(" ") + key.value;
        text += "    " + padded(key.name + value, name_column) + key.meaning + '\n';
    }
    if (row->changes_state) {
        text += "  changes the card's state\n";
    }
    return text + "  the process says: " + row->help + '\n';
}

std::string local_help(const local_command &row) {
    return usage_of(row) + ": " + row.meaning + '\n';
}

}    // namespace

std::string help_text(bool interactive) {
    return interactive ? shell_help_text() : command_line_help_text();
}

std::string help_text(std::string_view word) {
    const std::string name = full_name(word);
    if (is_shell_word(name)) {
        return shell_lines();
    }
    if (is_listing(name)) {
        return name + ": makes the process list its commands\n";
    }
    const local_command *local = find_local_command(name);
    return local != nullptr ? local_help(*local) : command_help(name);
}

}    // namespace client
