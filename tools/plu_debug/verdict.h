// Reads a reply as it passes and says what it means: fine, inconsistencies found, or refused.
#pragma once

#include <bitset>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/plu_debug/counters.h"
#include "tools/plu_debug/exit_status.h"

namespace client {

enum class verdict { ok, findings, refused };

/// "ok", "findings" or "refused".
const char *verdict_name(verdict value);

struct counter_value {
    const counter_row *row;
    int64_t number;
};

class reply_judge {
public:
    /// `command` is a name of the table, or anything else for replies without counters.
    explicit reply_judge(std::string_view command);

    /// The next piece of the reply; pieces join to lines.
    void piece(std::string_view text);

    /// The reply is over: what is left of a line without an end is one, too.
    void finish();

    /// The verdict on what has been read so far.
    [[nodiscard]] verdict result() const;
    [[nodiscard]] exit_status status() const {
        return result() == verdict::ok ? status_done : status_findings;
    }

    [[nodiscard]] const std::vector<counter_value> &counters() const { return found_; }
    /// The line that refused the command, or the first that spoke of a fault; empty without one.
    [[nodiscard]] std::string reason() const;
    /// A check whose reply ended without all of its counters has not said that the card is clean.
    [[nodiscard]] bool lacks_summary() const;
    /// The last number of that name; 0 when there was none.
    [[nodiscard]] int64_t counter(std::string_view key) const;
    /// Misses of the lookup checks that the reply did not show, all shown ones being default
    /// routes, which have no position in a mask and always miss.
    [[nodiscard]] int64_t unexplained_misses() const;
    /// Misses of default routes that the reply showed.
    [[nodiscard]] int64_t default_misses() const { return default_misses_; }

private:
    void expect(std::string_view text, bool at_end);
    [[nodiscard]] bool may_tell(std::string_view text) const;
    void line(std::string_view text);
    void judge_line(std::string_view text);
    [[nodiscard]] int64_t answered_shorter() const;
    [[nodiscard]] bool is_harmless(std::string_view text) const;
    void judge_return_code(std::string_view text);
    void raise(verdict value, std::string_view line);
    std::string command_;
    bool checks_lookups_;
    bool has_return_code_;
    // A long reply has a million lines that tell nothing: their ends show it.
    std::bitset<256> telling_first_;
    std::bitset<256> telling_last_;
    std::vector<const counter_row *> expected_;
    std::vector<counter_value> found_;
    std::string carry_;
    std::string reason_;
    verdict lines_ = verdict::ok;
    bool default_answers_ = false;    // the latest search ended at a default route
    int64_t default_misses_ = 0;
    int64_t other_misses_ = 0;
};

}    // namespace client
