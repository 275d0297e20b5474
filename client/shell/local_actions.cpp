#include "client/shell/local_actions.h"

#include <algorithm>

#include "client/answers/health.h"
#include "client/answers/metrics.h"
#include "client/pictures/pictures.h"
#include "client/recordings/record.h"
#include "client/recordings/recording_diff.h"
#include "client/words/arguments.h"
#include "client/words/help.h"

namespace client {
namespace {

ending run_help(const std::vector<std::string> &words, const options &chosen,
                local_report &report) {
    const std::string text = words.size() < 2 ? help_text(chosen.interactive) : help_text(words[1]);
    if (text.empty()) {
        return wrong_usage(parse_command({words[1]}).error);
    }
    report.out.write(text);
    return {};
}

ending run_version(const std::vector<std::string> & /*words*/, const options & /*chosen*/,
                   local_report &report) {
    report.out.write("plu_debug " PLU_VERSION "\n");
    return {};
}

constexpr local_action actions[] = {
    {"help", run_help},       {"version", run_version}, {"health", run_health, run_health_as_json},
    {"metrics", run_metrics}, {"record", run_record},   {"diff", run_diff},
    {"banks", run_banks},     {"tree", run_tree},
};

static_assert(std::ranges::equal(
                  actions, local_rows, {},
                  [](const local_action &row) { return std::string_view(row.name); },
                  [](const local_command &row) { return std::string_view(row.name); }),
              "each command of the client's own has its action");

}    // namespace

const local_action &action_of(const local_command &row) {
    return actions[&row - local_rows];
}

}    // namespace client
