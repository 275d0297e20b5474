#include "tools/plu_debug/help.h"

#include "tools/plu_debug/commands.h"
#include "tools/plu_debug/options.h"

namespace client {
namespace {

constexpr size_t name_column = 14;
constexpr size_t option_column = 22;

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

}    // namespace

std::string help_text() {
    return "usage: plu_debug [OPTION...] NAME [ARGUMENT...]\n"
           "Asks the PLU background process on this card.\n"
           "\nOptions:\n" +
           option_lines() +
           "\nCommands ('plu_debug help NAME' tells the arguments, 'plu_debug -h' asks the "
           "process):\n" +
           command_lines() +
           "\nExit status: 0 done; 1 a check found inconsistencies, or the process refused;\n"
           "2 wrong usage, nothing was sent; 3 no process, or no answer in time; 130 "
           "interrupted.\n";
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
    if (row->changes_state) {
        text += "  changes the card's state\n";
    }
    return text + "  the process says: " + row->help + '\n';
}

}    // namespace client
