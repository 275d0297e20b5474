#include "tools/plu_debug/local_commands.h"

#include "tools/plu_debug/commands.h"
#include "tools/plu_debug/health.h"
#include "tools/plu_debug/help.h"
#include "tools/plu_debug/metrics.h"
#include "tools/plu_debug/pictures.h"
#include "tools/plu_debug/record.h"
#include "tools/plu_debug/recording_diff.h"

namespace client {
namespace {

constexpr local_command rows[] = {
    {"help", "[NAME]", 0, 1, nullptr, "explains the client, or one command", run_help},
    {"version", "", 0, 0, nullptr, "shows the client's version", run_version},
    {"health", "", 0, 0, nullptr, "runs all checks, a line each", run_health, run_health_as_json},
    {"metrics", "[FILE]", 0, 1, nullptr, "writes all counters in the Prometheus text format",
     run_metrics},
    {"record", "FILE", 1, 1, nullptr, "saves all prefixes", run_record},
    {"diff", "FILE FILE", 2, 2, nullptr, "compares two recordings", run_diff},
    {"banks", "--svg [FILE]", 1, 2, "--svg", "draws how full the banks of node memory are",
     run_banks},
    {"tree", "NODE --dot [FILE]", 2, 3, "--dot",
     "draws a tree node with what is above and below it, for Graphviz", run_tree},
};

}    // namespace

std::span<const local_command> local_commands() {
    return rows;
}

std::string usage_of(const local_command &row) {
    return std::string(row.name) + (*row.form == '\0' ? "" : " ") + row.form;
}

const local_command *find_local_command(std::string_view name) {
    for (const local_command &row : rows) {
        if (same_word(row.name, name)) {
            return &row;
        }
    }
    return nullptr;
}

}    // namespace client
