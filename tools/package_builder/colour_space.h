#ifndef OXEL_TOOLS_COLOUR_SPACE_H
#define OXEL_TOOLS_COLOUR_SPACE_H

#include "package_builder/vector3.h"

#include <array>
#include <cmath>
#include <cstdint>

namespace oxel::tools {

using RgbBytes = std::array<std::uint8_t, 3>;

inline Vector3 to_vector(const RgbBytes &rgb) {
    return {double(rgb[0]), double(rgb[1]), double(rgb[2])};
}

/// Rounds sRGB to bytes; what lies outside 0 to 255 is clipped.
RgbBytes to_bytes(const Vector3 &srgb);

// Conversions between sRGB, on the scale 0 to 255, linear light in the same primaries, on the scale
// 0 to 1, and perceptual spaces. They use only operations that IEEE 754 rounds exactly, so that
// tables come out alike on every machine.

Vector3 light_from_srgb(const Vector3 &srgb);

/// Negative light gives negative sRGB, on the straight part of its curve.
Vector3 srgb_from_light(const Vector3 &light);

/// CIE L*a*b* of illuminant D50 (adapted by the Bradford transform), relative to a white.
Vector3 lab_from_light(const Vector3 &light, const Vector3 &white = {1, 1, 1});

Vector3 lab_from_srgb(const Vector3 &srgb);

/// The result lies outside 0 to 255 for colours that sRGB does not hold.
Vector3 srgb_from_lab(const Vector3 &lab);

/// Ottosson, "A perceptual color space for image processing", 2020. The light must not be negative.
Vector3 oklab_from_light(const Vector3 &light);

Vector3 light_from_oklab(const Vector3 &oklab);

/// How far a colour lies from grey, in the units of its space, CIE L*a*b* or OKLab.
inline double chroma(const Vector3 &lab) {
    return std::sqrt(lab[1] * lab[1] + lab[2] * lab[2]);
}

/// A light's place in OKLab, and how it moves with the light.
class OklabPlace {
  public:
    /// The light must not be negative.
    explicit OklabPlace(const Vector3 &light);

    const Vector3 &oklab() const { return oklab_; }

    /// The derivatives by each channel, as columns; finite also for black.
    Matrix3 slopes() const;

  private:
    Vector3 roots_; // of the cones' responses
    Vector3 oklab_;
};

// The same on every machine, and 0 of what is negative.
double cube_root(double v);
double fifth_root(double v);

constexpr double power(double base, int exponent) {
    double product = 1;
    for (int i = 0; i < exponent; ++i)
        product *= base;
    return product;
}

} // namespace oxel::tools

#endif
