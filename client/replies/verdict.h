// Reads the records of a reply as they pass and says what they mean: fine, inconsistencies found,
// or refused.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/base/exit_status.h"
#include "client/replies/reply_lines.h"

namespace client {

enum class verdict { ok, findings, refused };

/// "ok", "findings" or "refused".
const char *verdict_name(verdict value);

/// A number of a reply's summary.
struct counter_value {
    std::string name;
    int64_t number;
    bool bad;    // anything but 0 speaks against the card
};

class reply_judge {
public:
    /// `command` is a name of the table, or anything else for replies without a summary.
    explicit reply_judge(std::string_view command);

    /// The next line of the reply.
    void take(const reply_line &line);

    /// The verdict on what has been read so far.
    [[nodiscard]] verdict result() const;
    [[nodiscard]] exit_status status() const {
        return result() == verdict::ok ? status_done : status_findings;
    }
    [[nodiscard]] const std::vector<counter_value> &counters() const { return counters_; }
    /// The line that refused the command, or the first that spoke of a fault; empty without one.
    [[nodiscard]] std::string reason() const;
    /// A check whose reply ended without all of its counters has not said that the card is clean.
    [[nodiscard]] bool lacks_summary() const;
    /// The number of that name; 0 when there was none.
    [[nodiscard]] int64_t counter(std::string_view name) const;
    /// Misses of the lookup checks that the reply did not show, all shown ones being default
    /// routes, which have no position in a mask and always miss.
    [[nodiscard]] int64_t unexplained_misses() const;
    /// Misses of default routes that the reply showed.
    [[nodiscard]] int64_t default_misses() const { return default_misses_; }

private:
    void judge(const reply_record &record, std::string_view line);
    void count(const reply_record &record, std::string_view line);
    void set(counter_value value);
    [[nodiscard]] bool is_harmless(const reply_record &record);
    [[nodiscard]] int64_t answered_shorter() const;
    void raise(verdict value, std::string_view line);

    std::vector<const form *> summary_;    // of a check: what its reply has still to hold
    std::vector<counter_value> counters_;
    std::string reason_;
    verdict lines_ = verdict::ok;
    bool unreadable_ = false;         // an address was not readable
    bool answered_ = false;           // the reply says something else, too
    bool default_answers_ = false;    // the latest search ended at a default route
    int64_t default_misses_ = 0;
    int64_t other_misses_ = 0;
};

}    // namespace client
