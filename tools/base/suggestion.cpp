#include "base/suggestion.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace oxel::tools {

namespace {

/// Letters to insert, remove, replace or exchange with their neighbours, after Damerau, "A
/// technique for computer detection and correction of spelling errors", 1964.
std::size_t distance(const std::string &from, const std::string &to) {
    std::vector<std::size_t> before;
    std::vector<std::size_t> above;
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        before = std::exchange(above, row);
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const bool same = from[i - 1] == to[j - 1];
            row[j] = std::min({above[j - 1] + !same, row[j - 1] + 1, above[j] + 1});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
    }
    return row.back();
}

} // namespace

std::string suggestion(const std::string &word, const std::vector<std::string> &names) {
    const std::string *best = nullptr;
    std::size_t least = 2 + word.size() / 5; // nothing that differs so much is meant
    for (const std::string &name : names) {
        const bool part = (word.size() >= 4 && name.find(word) != name.npos) ||
                          (word.size() >= 2 && name.starts_with(word));
        const std::size_t errors = part ? 1 : distance(word, name);
        if (errors < least && errors < word.size()) {
            best = &name;
            least = errors;
        }
    }
    return best ? "; did you mean " + *best + "?" : "";
}

} // namespace oxel::tools
