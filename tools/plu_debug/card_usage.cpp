#include "tools/plu_debug/card_usage.h"

#include <algorithm>
#include <sstream>

#include "tools/plu_debug/line_scan.h"

namespace client {

std::string read_card_usage(const std::vector<std::string> &summary,
                            const std::vector<std::string> &context, card_usage &usage) {
    usage.levels.clear();
    std::string unexpected = read_bank_map(summary, context, usage.banks);
    if (!unexpected.empty()) {
        return unexpected;
    }
    auto line = std::find_if(context.begin(), context.end(), [](const std::string &text) {
        return text.starts_with("level, phu->str.a ");
    });
    if (line == context.end()) {
        return "the reply to 'dump' has no stride levels";
    }
    for (++line; line != context.end() && !line->empty(); ++line) {
        int64_t level = 0;
        int64_t value = 0;
        if (!(std::istringstream(*line) >> level >> value)) {    // the value may be negative
            return unexpected_line("dump", *line);
        }
        usage.levels.emplace_back(level, value);
    }
    return {};
}

}    // namespace client
