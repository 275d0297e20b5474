#include "client/words/names.h"

#include <strings.h>

#include <algorithm>

#include "client/words/local_commands.h"

namespace client {

bool begins(std::string_view name, std::string_view word) {
    return !word.empty() && word.size() <= name.size() &&
           strncasecmp(name.data(), word.data(), word.size()) == 0;
}

std::span<const name_row> all_names() {
    static const std::vector<name_row> names = [] {
        std::vector<name_row> rows;
        for (const local_command &row : local_commands()) {
            rows.push_back({row.name, row.meaning, false});
        }
        for (const command &row : all_commands()) {
            rows.push_back({row.name, row.meaning, false});
        }
        for (const char *name : {"quit", "exit"}) {
            rows.push_back({name, "leaves the shell, or ends a file of commands", true});
        }
        return rows;
    }();
    return names;
}

std::string full_name(std::string_view word) {
    const name_row *row = find_row(all_names(), word);
    return row == nullptr ? std::string(word) : row->name;
}

bool is_shell_word(std::string_view word) {
    const name_row *row = find_row(all_names(), word);
    return row != nullptr && row->in_shell_only;
}

}    // namespace client
