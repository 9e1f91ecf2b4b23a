#ifndef OXEL_TOOLS_TABLE_LOOKUP_H
#define OXEL_TOOLS_TABLE_LOOKUP_H

#include <cstdint>
#include <span>

namespace oxel::tools {

/// The palette index that a package's tables give each pixel of 3 bytes R, G, B: the quantisation
/// table's entry for what the gamut table holds. Returns whether the package has its tables whole
/// and each index a colour; otherwise `indices` is left half done.
bool look_up(std::span<const std::uint8_t> package, std::span<const std::uint8_t> rgb,
             std::span<std::uint8_t> indices);

} // namespace oxel::tools

#endif
