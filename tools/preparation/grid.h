#ifndef OXEL_TOOLS_GRID_H
#define OXEL_TOOLS_GRID_H

#include "base/image_size.h"
#include "preparation/exact_colours.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace oxel::tools {

/// Where on the scale of a channel's bytes the 64 cells of a package's gamut table lie.
enum class Grid {
    middles, // each at the middle of its four bytes, which is what a table alone tells
    ends,    // spread so that the outermost are exactly black and white
};

/// From a cell of a channel to the next, and so many thresholds.
constexpr int grid_steps = 1024;
constexpr int last_grid_cell = 63;

/// Where a channel lies on the grid, in steps from the first cell. `fine_byte` is 256 times its
/// byte.
constexpr int grid_place(Grid grid, int fine_byte) {
    return grid == Grid::ends ? (fine_byte * 84 + 42) / 85 // 63 cells of 256 x 255
                              : fine_byte - 3 * 128;       // a cell of 4 bytes, from its middle
}

/// The threshold of a pixel, for all of its channels. Interleaved gradient noise: the fraction of
/// 52.9829189 times the fraction of 0.06711056 x + 0.00583715 y, in fixed point, where it is the
/// same on every machine.
constexpr int grid_threshold(std::uint32_t x, std::uint32_t y) {
    constexpr std::uint64_t factor = 3555623499;                // 52.9829189 in 2^-26
    const std::uint32_t inner = x * 288237660U + y * 25070368U; // in 2^-32, less whole numbers
    return static_cast<int>((inner * factor >> 26 & 0xFFFFFFFFU) / (1U << 22));
}

/// How noise makes a cell of a place: half of the noise lies below the place, half above.
struct GridSpread {
    std::uint16_t start; // in steps from the first cell
    std::uint16_t width; // of the noise, in cells
};

/// By noise of three cells' width, what is shown is the mean of four, so that the roundings of a
/// table's bytes make less of bands, and dark greys differ enough from pixel to pixel for a wide
/// kernel not to swallow their errors. Near the ends there is room for less. The width is a whole
/// number of cells, so that the mean is the place.
constexpr GridSpread grid_spread(int place) {
    const int room = std::min(place, last_grid_cell * grid_steps - place); // to the nearer end
    const int halves = std::clamp(2 * room / grid_steps, 0, 2); // of a cell, on each side
    const int start = place - halves * (grid_steps / 2);
    return {static_cast<std::uint16_t>(std::clamp(start, 0, last_grid_cell * grid_steps)),
            static_cast<std::uint16_t>(1 + halves)};
}

/// The cell, 0 to 63, that a channel becomes.
constexpr int grid_cell(GridSpread spread, int threshold) {
    return (spread.start + spread.width * threshold) / grid_steps;
}

constexpr int grid_cell(int place, int threshold) {
    return grid_cell(grid_spread(place), threshold);
}

/// Dithers a picture of 3 channels of light a pixel onto the grid of the gamut table, which renders
/// do not interpolate: each channel becomes one of the four cells about it, as often as keeps the
/// mean, by one threshold a pixel for all channels, so that greys stay grey. Beside the ends of the
/// scale they are fewer, so that black and white stay pure. Renders then show hardly any bands.
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
