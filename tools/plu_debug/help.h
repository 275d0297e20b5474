// What the client says about itself.
#pragma once

#include <string>

namespace client {

/// The whole help: forms, options, commands, exit status.
std::string help_text();

/// Help on one command; empty when there is no such command.
std::string command_help(std::string_view name);

}    // namespace client
