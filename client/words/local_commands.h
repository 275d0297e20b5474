// What the client itself can do on top of the process's commands: the words of these commands.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace client {

struct local_command {
    const char *name;
    const char *form;    // its arguments
    size_t least;        // how many words it needs, and takes at most
    size_t most;
    const char *option;    // an option of its own that must be given; null without one
    const char *meaning;
};

inline constexpr local_command local_rows[] = {
    {"help", "[NAME]", 0, 1, nullptr, "explains the client, or one command"},
    {"version", "", 0, 0, nullptr, "shows the client's version"},
    {"health", "", 0, 0, nullptr, "runs all checks, a line each"},
    {"metrics", "[FILE]", 0, 1, nullptr, "writes all counters in the Prometheus text format"},
    {"record", "FILE", 1, 1, nullptr, "saves all prefixes"},
    {"diff", "FILE FILE", 2, 2, nullptr, "compares two recordings"},
    {"banks", "--svg [FILE]", 1, 2, "--svg", "draws how full the banks of node memory are"},
    {"tree", "NODE --dot [FILE]", 2, 3, "--dot",
     "draws a tree node with what is above and below it, for Graphviz"},
};

inline std::span<const local_command> local_commands() {
    return local_rows;
}

/// Its name and arguments.
std::string usage_of(const local_command &row);

/// Null when there is none of that name.
const local_command *find_local_command(std::string_view name);

}    // namespace client
