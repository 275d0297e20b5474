// Tells the operator about a reply that is received but not shown.
#pragma once

#include "client/base/stopwatch.h"
#include "client/channel/exchange.h"
#include "client/channel/status_line.h"

namespace client {

/// Silent for a second; then it says what is going on, and how much has come so far.
class drain_report : public reply_reader {
public:
    /// The text says why, and must outlive this.
    explicit drain_report(const char *why) : why_(why) {}
    ~drain_report() override;
    drain_report(const drain_report &) = delete;
    drain_report &operator=(const drain_report &) = delete;
    drain_report(drain_report &&) = delete;
    drain_report &operator=(drain_report &&) = delete;

    void piece(std::string_view text) override;
    void waiting() override;

private:
    [[nodiscard]] std::string text() const;

    const char *why_;
    size_t lines_ = 0;
    size_t told_ = 0;    // of the lines
    double next_ = 1;    // second of the next word about it
    stopwatch watch_;
    status_line line_;
};

}    // namespace client
