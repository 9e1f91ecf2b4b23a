#ifndef OXEL_TOOLS_GRID_H
#define OXEL_TOOLS_GRID_H

#include "base/image_size.h"
#include "preparation/exact_colours.h"

#include <cstdint>
#include <span>

namespace oxel::tools {

/// Where on the scale of a channel's bytes the 64 cells of a package's gamut table lie.
enum class Grid {
    middles, // each at the middle of its four bytes, which is what a table alone tells
    ends,    // spread so that the outermost are exactly black and white
};

/// Interleaved gradient noise, 0 to 1023: the fraction of 52.9829189 times the fraction of
/// 0.06711056 x + 0.00583715 y, in fixed point, where it is the same on every machine. Jimenez,
/// "Next generation post processing in Call of Duty: Advanced Warfare", 2014.
int gradient_noise(int x, int y);

/// Dithers a picture of 3 channels of light a pixel onto the grid of the gamut table, which renders
/// do not interpolate: each channel becomes one of the four cells about it, as often as keeps the
/// mean, by one threshold of gradient noise a pixel for all channels, so that greys stay grey. Of
/// greys, and beside the ends of the scale, they are two, so that black and white stay pure.
/// Renders then show hardly any bands. Exact colours become their own bytes. `bytes` receives 3
/// bytes R, G, B a pixel.
void dither_to_grid(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes);

/// The same of a picture of 3 bytes a pixel, in less time than by way of their light.
void dither_to_grid(std::span<const std::uint8_t> picture, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes);

} // namespace oxel::tools

#endif
