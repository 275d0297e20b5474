// What the client says about itself.
#pragma once

#include <string>
#include <string_view>

namespace client {

/// The whole help, in the shell without what is said on the command line only.
std::string help_text(bool interactive);

/// One command's; empty when there is none of that name.
std::string help_text(std::string_view word);

}    // namespace client
