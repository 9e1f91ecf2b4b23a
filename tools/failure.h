#ifndef OXEL_TOOLS_FAILURE_H
#define OXEL_TOOLS_FAILURE_H

#include <stdexcept>
#include <string>

namespace oxel::tools {

/// A job that could not be done: the file that is to blame, and why.
class Failure : public std::runtime_error {
  public:
    Failure(const std::string &file, const std::string &reason)
        : std::runtime_error(file + ": " + reason), file_(file), reason_(reason) {}

    const std::string &file() const { return file_; }
    const std::string &reason() const { return reason_; }

  private:
    std::string file_;
    std::string reason_;
};

} // namespace oxel::tools

#endif
