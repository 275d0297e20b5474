// From the words that the operator typed to the one request that is sent.
#pragma once

#include <string>
#include <vector>

#include "client/words/commands.h"
#include "records/request.h"

namespace client {

struct parsed_command {
    std::string error;    // quotes the bad word and says what fits; nothing may be sent
    std::vector<std::string> notes;    // oddities worth a line
    const command *row = nullptr;      // null for the listing and for raw requests
    plu_debug_request request{};
};

/// Parses NAME and its arguments: plain numbers, or the natural words of the table. With `raw` any
/// name and up to three numbers pass unchecked. Requires at least one word.
parsed_command parse_command(const std::vector<std::string> &words, bool raw = false);

/// True for the names that make the process list its commands.
bool is_listing(std::string_view name);

}    // namespace client
