#ifndef OXEL_WEB_SAME_BYTES_H
#define OXEL_WEB_SAME_BYTES_H

#include <cstdint>
#include <span>

namespace oxel::tools {

/// Whether a picture is one that is kept: several bytes at once, which the C library does not.
bool same_bytes(std::span<const std::uint8_t> one, std::span<const std::uint8_t> other);

} // namespace oxel::tools

#endif
