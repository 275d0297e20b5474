// The completion of the client's command line in bash.
#pragma once

#include <string>

namespace client {

/// A script that needs nothing but bash: options, commands, their words, and file names.
std::string bash_completion();

}    // namespace client
