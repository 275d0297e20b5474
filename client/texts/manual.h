// The manual page, as far as the client's tables hold it.
#pragma once

#include <string>

namespace client {

/// Replaces each line "@OPTIONS@", "@CLIENT_COMMANDS@", "@PROCESS_COMMANDS@" and "@EXIT_STATUS@" by
/// its section, and "@VERSION@" by the version. Throws std::runtime_error when the page lacks one
/// of them, or holds any other '@'.
std::string filled_manual(std::string page);

}    // namespace client
