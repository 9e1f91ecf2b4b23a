#ifndef OXEL_TOOLS_REREADABLE_H
#define OXEL_TOOLS_REREADABLE_H

#include "base/files.h"

#include <string>

namespace oxel::tools {

/// An input that is a file of its own, which can be read from its start again and again: a copy of
/// what comes from the standard input (-) or out of a pipe, or simply the file. The copy has no
/// name in any folder, so it is gone when the process is, however that ends.
class Rereadable {
  public:
    /// Throws Failure.
    explicit Rereadable(const std::string &path);

    const std::string &path() const { return path_; }

  private:
    std::string path_;
    FileHandle copy_;
};

} // namespace oxel::tools

#endif
