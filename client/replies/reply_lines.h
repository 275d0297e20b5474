// The lines of a reply as it comes in pieces, each with its record.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "client/replies/forms.h"

namespace client {

struct reply_line {
    std::string_view text;
    const reply_record *known;    // null for a line without a form
};

class reply_lines {
public:
    using taker = std::function<void(const reply_line &)>;

    /// `command` is a name in any case; of a name that is not in the table no line is known but
    /// those that every command may send.
    reply_lines(std::string_view command, taker take);

    /// The next piece of the reply; pieces join to lines. Empty lines only frame a reply.
    void piece(std::string_view text);
    /// The reply is over: what is left of a line without an end is one, too.
    void finish();

private:
    void line(std::string_view text);

    line_recogniser forms_;
    taker take_;
    std::string carry_;
};

/// Says so of a line without a form, or one that makes no sense.
std::string unexpected_line(std::string_view command, std::string_view line);

}    // namespace client
