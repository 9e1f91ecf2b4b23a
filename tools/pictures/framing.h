#ifndef OXEL_TOOLS_FRAMING_H
#define OXEL_TOOLS_FRAMING_H

#include <array>
#include <cstdint>
#include <optional>

namespace oxel::tools {

enum class Fit {
    cover,     // fills the size; what is too much is cut off at both sides alike
    contain,   // whole, centred on the background
    stretch,   // fills the size without regard to the aspect
    attention, // fills the size; what catches the eye least is cut off
};

/// Clockwise, of the stored pixels.
enum class Rotation { as_oriented, none, quarter, half, three_quarters };

/// A length in an upright picture: pixels, or hundredths of its width or height.
struct PictureLength {
    double value;
    bool percent;

    double of(int side) const { return percent ? value * side / 100 : value; }
    bool operator==(const PictureLength &) const = default;
};

/// How a picture is brought to a size.
struct Framing {
    Fit fit = Fit::cover;
    Rotation rotation = Rotation::as_oriented;
    std::array<std::uint8_t, 3> background = {255, 255, 255};
    /// Left, top, width and height of what is taken.
    std::optional<std::array<PictureLength, 4>> crop = std::nullopt;
    /// What Fit::cover keeps as central as it can.
    std::optional<std::array<PictureLength, 2>> focus = std::nullopt;
    /// Of drawings, at the size wanted.
    bool smooth_text = true;
};

/// What decoding one picture may cost.
struct PictureLimits {
    int megapixels = 250;
    int megabytes = 512;
    int seconds = 10; // of one processor

    bool operator==(const PictureLimits &) const = default;
};

} // namespace oxel::tools

#endif
