// Names of commands, and what an abbreviation stands for.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "client/words/commands.h"

namespace client {

/// True when the word is the start of the name, or all of it, without regard to case.
bool begins(std::string_view name, std::string_view word);

/// The row that the word names, else the only one whose name it begins; null when there is none.
template <typename Row>
const Row *find_row(std::span<const Row> rows, std::string_view word) {
    const Row *found = nullptr;
    bool several = false;
    for (const Row &row : rows) {
        if (same_word(row.name, word)) {
            return &row;
        }
        if (begins(row.name, word)) {
            several = found != nullptr;
            found = &row;
        }
    }
    return several ? nullptr : found;
}

/// A word that a line can begin with.
struct name_row {
    const char *name;
    const char *meaning;
    bool in_shell_only;    // also in files of commands
};

/// The client's own commands, the process's, and the words that leave the shell.
std::span<const name_row> all_names();

/// The whole name that the word stands for; the word itself when there is none or several.
std::string full_name(std::string_view word);

/// True for the words that leave the shell and end a file of commands.
bool is_shell_word(std::string_view word);

}    // namespace client
