#include "client/words/local_commands.h"

#include "client/words/commands.h"

namespace client {

std::string usage_of(const local_command &row) {
    return std::string(row.name) + (*row.form == '\0' ? "" : " ") + row.form;
}

const local_command *find_local_command(std::string_view name) {
    for (const local_command &row : local_rows) {
        if (same_word(row.name, name)) {
            return &row;
        }
    }
    return nullptr;
}

}    // namespace client
