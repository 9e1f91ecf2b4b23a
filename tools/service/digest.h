#ifndef OXEL_TOOLS_DIGEST_H
#define OXEL_TOOLS_DIGEST_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace oxel::tools {

/// SHA-256 (FIPS 180-4), in hexadecimal digits.
class Digest {
  public:
    Digest();
    ~Digest();
    Digest(const Digest &) = delete;
    Digest &operator=(const Digest &) = delete;

    void add(std::span<const std::uint8_t> bytes);

    /// With its length before it, so that no two lists of texts look alike.
    void add(std::string_view text);

    /// Of what was added; nothing may be added afterwards.
    std::string hex();

  private:
    void *state_;
};

/// Of a file that is open, from its start. Throws std::runtime_error.
std::string digest_of_file(int file);

/// Whether they are equal, in a time that tells nothing of where they differ.
bool same_secret(std::string_view given, std::string_view wanted);

} // namespace oxel::tools

#endif
