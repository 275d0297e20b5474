// Text that a terminal may get from outside.
#pragma once

#include <string>
#include <string_view>

namespace client {

/// True when the text holds no control character but line ends and tabs, and no byte that some
/// terminals take for one.
bool is_printable(std::string_view text);

/// The text with "\x1b" in the place of such bytes.
std::string printable(std::string_view text);

}    // namespace client
