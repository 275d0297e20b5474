// Prefixes as the operator types them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "client/words/commands.h"

namespace client {

struct prefix {
    family kind = family::none;
    uint64_t high = 0;    // IPv6: the first 64 bits
    uint64_t low = 0;     // IPv6: the last 64 bits; IPv4: the address
    int length = 0;
    bool host_bits = false;    // bits beyond the length are set
};

/// True when the word was meant as an address or prefix, rightly written or not.
bool looks_like_prefix(std::string_view word);

/// Parses ADDRESS or ADDRESS/LENGTH; a bare address is its host prefix. On failure `error` quotes
/// the word and says what fits.
prefix parse_prefix(std::string_view word, std::string &error);

}    // namespace client
