// What the operator may have meant.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace client {

/// "; did you mean 'x'?" for the candidate that is nearest to the word, the list of those that it
/// begins when they are several, or nothing when none is near.
std::string did_you_mean(std::string_view word, const std::vector<std::string> &candidates);

}    // namespace client
