#ifndef OXEL_TOOLS_SUGGESTION_H
#define OXEL_TOOLS_SUGGESTION_H

#include <string>
#include <vector>

namespace oxel::tools {

/// "; did you mean NAME?" with the one of `names` that `word` seems to stand for: a misspelling, or
/// a part of it. "" if there is none.
std::string suggestion(const std::string &word, const std::vector<std::string> &names);

} // namespace oxel::tools

#endif
