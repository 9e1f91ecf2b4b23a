#ifndef OXEL_TOOLS_FAILURE_H
#define OXEL_TOOLS_FAILURE_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace oxel::tools {

/// Text on one line of a terminal, of bounded length. What would steer the terminal, or show other
/// text than there is, stands as \x0A: control characters, marks of the direction of writing, and
/// bytes that are no UTF-8.
std::string printable(std::string_view text);

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
