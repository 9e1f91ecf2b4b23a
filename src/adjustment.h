#ifndef OXEL_ADJUSTMENT_H
#define OXEL_ADJUSTMENT_H

#include <cstddef>
#include <cstdint>

// What every form of the colour adjustment takes. There are no function bodies here, for the reason
// that diffusion.h gives.
namespace [[gnu::visibility("hidden")]] oxel {

/// The four amounts, as the formulas take them.
struct Adjustment {
    std::int32_t hue; // above -720 and below 360: see shortest_turn
    double saturation;
    double contrast_factor;
    double contrast_offset;
    double brightness;
};

/// Pixels of three bytes, and which of them is red; green is 1, and blue the third.
struct PixelRun {
    const std::uint8_t *input;
    std::size_t input_red;
    std::uint8_t *output; // may be the input
    std::size_t output_red;
    std::size_t count;
};

} // namespace oxel

#endif
