#include "client/replies/verdict.h"

#include <algorithm>

namespace client {
namespace {

constexpr std::string_view checks[] = {"ckall",   "ckbank", "ckbmsf",  "ckhmask",
                                       "ckparbl", "cklkup", "cklkuphw"};

}    // namespace

const char *verdict_name(verdict value) {
    switch (value) {
        case verdict::ok:
            return "ok";
        case verdict::findings:
            return "findings";
        case verdict::refused:
            return "refused";
    }
    return "unknown";
}

reply_judge::reply_judge(std::string_view command) {
    if (std::ranges::find(checks, command) == std::end(checks)) {
        return;
    }
    for (const form &kind : all_forms()) {
        if (kind.row.means == meaning::summary && kind.sent_by(command)) {
            summary_.push_back(&kind);
        }
    }
}

void reply_judge::take(const reply_line &line) {
    if (line.known == nullptr) {
        answered_ = true;
        return;
    }
    const meaning means = line.known->kind->row.means;
    unreadable_ = unreadable_ || means == meaning::unreadable;
    answered_ = answered_ || (means != meaning::progress && means != meaning::unreadable);
    judge(*line.known, line.text);
}

void reply_judge::judge(const reply_record &record, std::string_view line) {
    switch (record.kind->row.means) {
        case meaning::summary:
            count(record, line);
            break;
        case meaning::finding:
        case meaning::unreadable:
            if (!is_harmless(record)) {
                raise(verdict::findings, line);
            }
            break;
        case meaning::refusal:
            raise(verdict::refused, line);
            break;
        case meaning::code:
            if (record.number("rc") != 0) {
                raise(verdict::refused, line);
            }
            break;
        default:
            if (record.is("lookup_answer")) {
                default_answers_ = record.text("prefix").ends_with("/0");
            } else if (record.is("step") && record.number("next") == 0) {
                raise(verdict::findings, line);
            }
    }
}

void reply_judge::count(const reply_record &record, std::string_view line) {
    std::erase(summary_, record.kind);
    std::string group;
    for (size_t i = 0; i < record.kind->count; ++i) {
        const form_field &field = record.kind->fields[i];
        const auto number = static_cast<int64_t>(record.values[i].number);
        if (field.numbering) {
            group = std::string(field.name) + std::to_string(number) + '_';
        } else if (!is_text(field.kind)) {
            set({group + std::string(field.name), number, field.bad});
        }
        if (field.bad && number != 0) {
            raise(verdict::findings, line);
        }
    }
}

// A line that comes again says what holds.
void reply_judge::set(counter_value value) {
    const auto old = std::ranges::find(counters_, value.name, &counter_value::name);
    if (old == counters_.end()) {
        counters_.push_back(std::move(value));
    } else {
        *old = std::move(value);
    }
}

// Default routes have no position in a mask: lookups always miss them, and what they answer, or
// nothing does, is no fault.
bool reply_judge::is_harmless(const reply_record &record) {
    if (record.is("missed_lookup")) {
        const bool by_default = record.number("length") == 0;
        ++(by_default ? default_misses_ : other_misses_);
        return by_default;
    }
    return record.is("lookup_failed") &&
           (default_answers_ || (record.number("best_length") == 0 && record.number("leaf") == 0));
}

void reply_judge::raise(verdict value, std::string_view line) {
    if (lines_ == verdict::ok || (lines_ == verdict::findings && value == verdict::refused)) {
        reason_ = line;
        lines_ = value;
    }
}

int64_t reply_judge::counter(std::string_view name) const {
    const auto found = std::ranges::find(counters_, name, &counter_value::name);
    return found == counters_.end() ? 0 : found->number;
}

verdict reply_judge::result() const {
    if (unreadable_ && !answered_) {
        return verdict::refused;    // alone it is the answer to a typed address
    }
    if (lines_ != verdict::ok || lacks_summary()) {
        return std::max(lines_, verdict::findings);
    }
    return answered_shorter() > 0 ? verdict::findings : verdict::ok;
}

// A leaf that only a shorter one answered is in the total and in no other line.
int64_t reply_judge::answered_shorter() const {
    return counter("total_prefix") - counter("prefix_match") - counter("prefix_longer_match") -
           counter("prefix_no_match");
}

bool reply_judge::lacks_summary() const {
    return !summary_.empty();
}

std::string reply_judge::reason() const {
    if (lines_ == verdict::ok && lacks_summary()) {
        return "the reply lacks the check's summary";
    }
    if (lines_ == verdict::ok && answered_shorter() > 0) {
        return std::to_string(answered_shorter()) + " prefixes are answered by a shorter one";
    }
    return reason_;
}

int64_t reply_judge::unexplained_misses() const {
    return std::max<int64_t>(0, counter("prefix_no_match") - default_misses_ - other_misses_);
}

}    // namespace client
