#include "tools/plu_debug/verdict.h"

#include <algorithm>
#include <charconv>

namespace client {
namespace {

constexpr size_t longest_line = 65536;    // what a line may grow to before it is judged as it is

constexpr std::string_view failed_lookup = "phu_plu_lookup() lookup failed";

struct telling_line {
    std::string_view text;
    bool at_end;    // the line ends with the text, else it starts with it
    verdict meaning;
};

constexpr telling_line telling_lines[] = {
    {"no handler for ", false, verdict::refused},
    {"plu shm ctx not ready", false, verdict::refused},
    {"phu shm ctx not ready", false, verdict::refused},
    {"plu ctx is NULL", false, verdict::refused},
    {"NULL tbm_handle", false, verdict::refused},
    {"invalid tn addr: ", false, verdict::refused},
    {"invalide leaf array addr:", false, verdict::refused},
    {"cant find leaf array parent tn", false, verdict::refused},
    {"invalid bank id ", false, verdict::refused},
    {"PHU shared mem range: ", false, verdict::refused},
    {"read size > 4000", false, verdict::refused},
    {"skip setting bmsf for internal node", false, verdict::refused},
    {"skip searching default prefix", false, verdict::refused},
    {"valid input: a1 pfx high", false, verdict::refused},
    {"failed to load phu functions", false, verdict::refused},
    {" is not a search node", true, verdict::refused},
    {" not loaded", true, verdict::refused},
    {" is not available yet", true, verdict::refused},
    {" is not readable", true, verdict::refused},
    {" is not writable", true, verdict::refused},
    {"invalid bank_id ", false, verdict::findings},
    {"tree deeper than ", false, verdict::findings},
    {"tree of more than ", false, verdict::findings},
    {"ERR", false, verdict::findings},
    {" next tn (nil)", true, verdict::findings},
    {"node type not handled:", false, verdict::findings},
    {"invalide key bits used ", false, verdict::findings},
    {"invalid level ", false, verdict::findings},
    {"failed to read ", false, verdict::findings},
    {"hw index is zero , but ", false, verdict::findings},
    {"no active npu found", false, verdict::findings},
    {"Wrong node type: ", false, verdict::findings},
    {failed_lookup, false, verdict::findings},
    {"parent_la_index reached max", false, verdict::findings},
};

struct return_code {
    std::string_view command;
    std::string_view label;
};

constexpr return_code return_codes[] = {
    {"addv4", ", rc 0x"}, {"delv4", ", rc 0x"},  {"addv6", ", rc 0x"},
    {"delv6", ", rc 0x"}, {"regr32", ", rc:0x"}, {"regw32", ", rc:0x"},
};

constexpr std::string_view checks[] = {"ckall",   "ckbank", "ckbmsf",  "ckhmask",
                                       "ckparbl", "cklkup", "cklkuphw"};

constexpr std::string_view missed_lookup = "lookup missed: ";
constexpr std::string_view tree_answer = "phu_search() results: ";

/// The row of a command whose lines carry a return code, else null.
const return_code *return_code_of(std::string_view command) {
    const auto *row =
        std::find_if(std::begin(return_codes), std::end(return_codes),
                     [&](const return_code &code) { return code.command == command; });
    return row == std::end(return_codes) ? nullptr : row;
}

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

reply_judge::reply_judge(std::string_view command)
    : command_(command),
      checks_lookups_(command == "cklkuphw"),
      has_return_code_(return_code_of(command) != nullptr) {
    expect(missed_lookup, false);
    expect(tree_answer, false);
    for (const telling_line &telling : telling_lines) {
        expect(telling.text, telling.at_end);
    }
    for (const counter_row &row : all_counters()) {
        if (has_counter(command, row)) {
            expected_.push_back(&row);
            expect(row.line, row.label == nullptr);
        }
    }
}

/// A line that starts or ends with a text tells something.
void reply_judge::expect(std::string_view text, bool at_end) {
    if (text.empty()) {
        telling_first_.set();
    } else if (at_end) {
        telling_last_.set(static_cast<uint8_t>(text.back()));
    } else {
        telling_first_.set(static_cast<uint8_t>(text.front()));
    }
}

bool reply_judge::may_tell(std::string_view text) const {
    return has_return_code_ || telling_first_[static_cast<uint8_t>(text.front())] ||
           telling_last_[static_cast<uint8_t>(text.back())];
}

void reply_judge::piece(std::string_view text) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos) {
            if (carry_.size() < longest_line) {
                carry_ += text;
            }
            return;
        }
        if (carry_.empty()) {
            line(text.substr(0, end));
        } else {
            carry_ += text.substr(0, end);
            line(carry_);
            carry_.clear();
        }
        text.remove_prefix(end + 1);
    }
}

void reply_judge::finish() {
    line(carry_);
    carry_.clear();
}

void reply_judge::line(std::string_view text) {
    if (text.empty() || !may_tell(text)) {
        return;
    }
    judge_line(text);
    judge_return_code(text);
    for (const counter_row *row : expected_) {
        int64_t number = 0;
        if (read_counter(*row, text, number)) {
            found_.push_back({row, number});
            if (row->bad && number != 0) {
                raise(verdict::findings, text);
            }
        }
    }
}

void reply_judge::judge_line(std::string_view text) {
    if (text.starts_with(missed_lookup)) {
        (text.ends_with("/0)") ? default_misses_ : other_misses_) += 1;
        if (!text.ends_with("/0)")) {
            raise(verdict::findings, text);
        }
        return;
    }
    if (text.starts_with(tree_answer)) {
        default_answers_ = text.find("/0 (exp:") != std::string_view::npos;
        return;
    }
    if (is_harmless(text)) {
        return;
    }
    if (text.starts_with("invalid bank id ") &&
        text.find(" or node id ") != std::string_view::npos) {
        raise(verdict::findings, text);    // a node's, not the operator's
        return;
    }
    for (const telling_line &telling : telling_lines) {
        if (telling.at_end ? text.ends_with(telling.text) : text.starts_with(telling.text)) {
            raise(telling.meaning, text);
            return;
        }
    }
}

bool reply_judge::is_harmless(std::string_view text) const {
    if (checks_lookups_ && text.starts_with("ERR: both tt and me_exists are 0")) {
        return true;    // the miss that it leads to is judged
    }
    // Nothing covers the address, or a default route does, which has no position in a mask.
    return text.starts_with(failed_lookup) &&
           (text.ends_with(", mask len 0 lf (nil)") || default_answers_);
}

void reply_judge::judge_return_code(std::string_view text) {
    const return_code *row = return_code_of(command_);
    if (row == nullptr) {
        return;
    }
    const size_t place = text.find(row->label);
    if (place == std::string_view::npos) {
        return;
    }
    uint32_t code = 0;
    const std::string_view digits = text.substr(place + row->label.size());
    const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
    if (parsed.ec == std::errc() && code != 0) {
        raise(verdict::refused, text);
    }
}

void reply_judge::raise(verdict value, std::string_view line) {
    if (lines_ == verdict::ok || (lines_ == verdict::findings && value == verdict::refused)) {
        reason_ = line;
        lines_ = value;
    }
}

int64_t reply_judge::counter(std::string_view key) const {
    const auto found =
        std::find_if(found_.rbegin(), found_.rend(),
                     [&](const counter_value &value) { return key == value.row->key; });
    return found == found_.rend() ? 0 : found->number;
}

verdict reply_judge::result() const {
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
    return std::find(std::begin(checks), std::end(checks), command_) != std::end(checks) &&
           !std::all_of(expected_.begin(), expected_.end(), [&](const counter_row *row) {
               return std::any_of(found_.begin(), found_.end(),
                                  [&](const counter_value &value) { return value.row == row; });
           });
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
