#include "client/words/nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include "client/words/names.h"

namespace client {
namespace {

// Edits (insert, delete, replace, swap of neighbours) from one word to the other, without regard to
// case.
size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<size_t> before(b.size() + 1);
    std::vector<size_t> row(b.size() + 1);
    std::vector<size_t> next(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    const auto equal = [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    };
    for (size_t i = 0; i < a.size(); ++i) {
        next[0] = i + 1;
        for (size_t j = 0; j < b.size(); ++j) {
            next[j + 1] =
                std::min({row[j] + (equal(a[i], b[j]) ? 0 : 1), row[j + 1] + 1, next[j] + 1});
            if (i > 0 && j > 0 && equal(a[i], b[j - 1]) && equal(a[i - 1], b[j])) {
                next[j + 1] = std::min(next[j + 1], before[j - 1] + 1);
            }
        }
        before.swap(row);
        row.swap(next);
    }
    return row[b.size()];
}

// The candidates that the word begins, when there are several.
std::string continuations(std::string_view word, const std::vector<std::string> &candidates) {
    std::string text;
    size_t count = 0;
    for (const std::string &candidate : candidates) {
        if (begins(candidate, word)) {
            text += (text.empty() ? "" : ", ") + candidate;
            ++count;
        }
    }
    return count > 1 ? "; it begins " + text : "";
}

}    // namespace

std::string did_you_mean(std::string_view word, const std::vector<std::string> &candidates) {
    std::string several = continuations(word, candidates);
    if (!several.empty()) {
        return several;
    }
    const size_t near = std::max<size_t>(1, word.size() / 3);
    size_t best = near + 1;
    std::string_view found;
    for (const std::string &candidate : candidates) {
        const size_t distance = edit_distance(word, candidate);
        if (distance < best) {
            best = distance;
            found = candidate;
        }
    }
    return found.empty() ? "" : "; did you mean '" + std::string(found) + "'?";
}

}    // namespace client
