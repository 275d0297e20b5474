// What is said, asked or refused before a command is sent.
#pragma once

#include <string>

#include "client/words/arguments.h"
#include "client/words/options.h"

namespace client {

/// True when the command changes the card's state, or is one that the table does not know.
bool may_change(const parsed_command &command);

/// What --read-only says to a command; empty when it lets it pass.
std::string read_only_objection(const parsed_command &command);

/// Asks on a terminal whether a default route shall be deleted, unless --yes has answered. True
/// when the command may be sent.
bool confirmed(const parsed_command &command, const options &chosen);

/// Tells of a reply of more than a million lines before it fills a terminal.
void warn_of_length(const parsed_command &command, const options &chosen);

}    // namespace client
