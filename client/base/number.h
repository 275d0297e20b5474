// Numbers as the operator types them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace client {

/// A whole word in decimal or, after 0x, in hexadecimal; none when it is anything else or does not
/// fit into 64 bits.
std::optional<uint64_t> parse_number(std::string_view word);

}    // namespace client
