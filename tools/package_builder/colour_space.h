#ifndef OXEL_TOOLS_COLOUR_SPACE_H
#define OXEL_TOOLS_COLOUR_SPACE_H

#include <array>
#include <cstdint>

namespace oxel::tools {

using Vector3 = std::array<double, 3>;
using RgbBytes = std::array<std::uint8_t, 3>;

inline Vector3 to_vector(const RgbBytes &rgb) {
    return {double(rgb[0]), double(rgb[1]), double(rgb[2])};
}

/// Rounds sRGB to bytes; what lies outside 0 to 255 is clipped.
RgbBytes to_bytes(const Vector3 &srgb);

// Conversions between sRGB, on the scale 0 to 255, and CIE L*a*b* of illuminant D50. They use only
// operations that IEEE 754 rounds exactly, so that tables come out alike on every machine.

Vector3 lab_from_srgb(const Vector3 &srgb);

/// The result lies outside 0 to 255 for colours that sRGB does not hold.
Vector3 srgb_from_lab(const Vector3 &lab);

} // namespace oxel::tools

#endif
