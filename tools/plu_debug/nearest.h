// What the operator may have meant.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace client {

/// "; did you mean 'x'?" for the candidate that is nearest to the word, or nothing when none is
/// near. A word that only one candidate continues is nearest to that one.
std::string did_you_mean(std::string_view word, const std::vector<std::string> &candidates);

}    // namespace client
