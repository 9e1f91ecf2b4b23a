#include "base/suggestion.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace oxel::tools {

namespace {

/// Letters to insert, remove or replace, after Levenshtein, "Binary codes capable of correcting
/// deletions, insertions, and reversals", 1966.
std::size_t distance(const std::string &from, const std::string &to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t corner = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t replaced = corner + (from[i] != to[j]);
            corner = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, corner + 1});
        }
    }
    return row.back();
}

} // namespace

std::string suggestion(const std::string &word, const std::vector<std::string> &names) {
    const std::string *best = nullptr;
    std::size_t least = 2 + word.size() / 5; // nothing that differs so much is meant
    for (const std::string &name : names) {
        const bool part = word.size() >= 4 && name.find(word) != name.npos;
        const std::size_t errors = part ? 1 : distance(word, name);
        if (errors < least && errors < word.size()) {
            best = &name;
            least = errors;
        }
    }
    return best ? "; did you mean " + *best + "?" : "";
}

} // namespace oxel::tools
