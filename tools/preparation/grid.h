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

/// Dithers a picture of 3 channels of light a pixel onto the grid of the gamut table, which renders
/// do not interpolate: each channel becomes one of the four cells about it, as often as keeps the
/// mean, by one threshold a pixel for all channels, so that greys stay grey. Of greys, and beside
/// the ends of the scale, they are two, so that black and white stay pure. Renders then show hardly
/// any bands.
/// Exact colours become their own bytes. `bytes` receives 3 bytes R, G, B a pixel.
///
/// The thresholds are interleaved gradient noise: Jimenez, "Next generation post processing in Call
/// of Duty: Advanced Warfare", 2014.
void dither_to_grid(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes);

/// The same of a picture of 3 bytes a pixel, in less time than by way of their light.
void dither_to_grid(std::span<const std::uint8_t> picture, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes);

} // namespace oxel::tools

#endif
