#include "client/texts/manual.h"

#include <sstream>
#include <stdexcept>

#include "client/base/exit_status.h"
#include "client/words/command_line.h"
#include "client/words/commands.h"
#include "client/words/local_commands.h"
#include "client/words/options.h"

namespace client {
namespace {

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '\\':
                result += "\\e";
                break;
            case '-':
                result += "\\-";
                break;
            case '\'':
                result += "\\(aq";
                break;
            case '.':
                result += "\\&.";    // never a request
                break;
            default:
                result += c;
        }
    }
    return result;
}

// One input line or more, each of a usual width and ended.
std::string sentence(std::string_view text) {
    constexpr size_t width = 78;
    std::string result;
    std::string line;
    std::istringstream words(escaped(text));
    for (std::string word; words >> word;) {
        if (!line.empty() && line.size() + 1 + word.size() > width) {
            result += line + '\n';
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return result + line + '\n';
}

std::string bold(std::string_view text) {
    return "\\fB" + escaped(text) + "\\fR";
}

// What stands for a value is in capitals.
std::string form(const std::string &text) {
    std::string result;
    bool capitals = false;
    for (const char c : text) {
        const bool value =
            (c >= 'A' && c <= 'Z') || (capitals && (c == '-' || c == '+' || c == '*'));
        if (value != capitals) {
            result += value ? "\\fI" : "\\fR";
            capitals = value;
        }
        result += escaped(std::string_view(&c, 1));
    }
    return result + (capitals ? "\\fR" : "");
}

std::string named_form(const char *name, const std::string &arguments) {
    return bold(name) + (arguments.empty() ? "" : " ") + form(arguments) + '\n';
}

std::string option_section() {
    std::string text;
    for (const option_row &row : all_options()) {
        text += ".TP\n";
        if (row.short_name != nullptr) {
            text += bold(row.short_name) + ", ";
        }
        text += bold(row.long_name);
        if (row.value != nullptr) {
            text += std::string(" \\fI") + row.value + "\\fR";
        }
        text += '\n' + sentence(row.help);
    }
    return text;
}

std::string client_section() {
    std::string text;
    for (const local_command &row : local_commands()) {
        text += ".TP\n" + named_form(row.name, row.form) + sentence(row.meaning);
    }
    return text;
}

std::string process_section() {
    std::string text;
    for (const command &row : all_commands()) {
        const std::string natural = natural_form(row);
        const std::string numbers = number_form(row);
        text += ".TP\n" + named_form(row.name, natural);
        if (!numbers.empty() && numbers != natural) {
            text += ".TQ\n" + named_form(row.name, numbers);
        }
        text +=
            sentence(std::string(row.meaning) + (row.changes_state ? "; changes the card" : ""));
    }
    return text;
}

std::string filter_section() {
    std::string text;
    for (const filter_row &row : all_filters()) {
        const std::string value = row.value == nullptr ? "" : row.value;
        text += ".TP\n" + named_form((std::string("| ") + row.name).c_str(), value) +
                sentence(row.meaning);
    }
    return text;
}

std::string status_section() {
    std::string text;
    for (const status_row &row : all_statuses()) {
        text += ".TP\n\\fB" + std::to_string(row.status) + "\\fR\n" + sentence(row.meaning);
    }
    return text;
}

void replace(std::string &page, const std::string &mark, const std::string &text) {
    const size_t place = page.find(mark);
    if (place == std::string::npos) {
        throw std::runtime_error("the manual page lacks " + mark);
    }
    page.replace(place, mark.size(), text);
}

}    // namespace

std::string filled_manual(std::string page) {
    replace(page, "@VERSION@", PLU_VERSION);
    replace(page, "@OPTIONS@\n", option_section());
    replace(page, "@CLIENT_COMMANDS@\n", client_section());
    replace(page, "@PROCESS_COMMANDS@\n", process_section());
    replace(page, "@FILTERS@\n", filter_section());
    replace(page, "@EXIT_STATUS@\n", status_section());
    if (page.find('@') != std::string::npos) {
        throw std::runtime_error("the manual page has an unknown mark");
    }
    return page;
}

}    // namespace client
