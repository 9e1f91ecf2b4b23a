#ifndef OXEL_TOOLS_FAILURE_H
#define OXEL_TOOLS_FAILURE_H

#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

namespace oxel::tools {

/// Text for a terminal: control characters, which the names of files may hold, as \x0A.
inline std::string printable(std::string_view text) {
    std::string line;
    for (const char c : text)
        if (const auto code = static_cast<unsigned char>(c); code >= 0x20 && code != 0x7F) {
            line += c;
        } else {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02X", code);
            line += escape;
        }
    return line;
}

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
