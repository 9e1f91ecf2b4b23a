#include "preparation/grid.h"

#include "preparation/light.h"

#include <array>
#include <vector>

namespace oxel::tools {

namespace {

/// No cell beyond the table, even at the ends of the scale; a cell grows with the threshold.
constexpr bool stays_on_grid(Grid grid) {
    constexpr int last = 255 * 256;
    for (int from_end = 0; from_end <= 2 * grid_steps; ++from_end) {
        const GridSpread first_spread = grid_spread(grid_place(grid, from_end));
        const GridSpread last_spread = grid_spread(grid_place(grid, last - from_end));
        if (grid_cell(first_spread, 0) < 0 ||
            grid_cell(last_spread, grid_steps - 1) > last_grid_cell)
            return false;
    }
    return true;
}
static_assert(stays_on_grid(Grid::middles) && stays_on_grid(Grid::ends));

/// Of each light a channel can have.
std::vector<GridSpread> make_spreads(Grid grid) {
    std::vector<GridSpread> spreads;
    spreads.reserve(65536);
    for (const int fine_byte : fine_bytes_of_light())
        spreads.push_back(grid_spread(grid_place(grid, fine_byte)));
    return spreads;
}

const std::vector<GridSpread> &spreads_of_light(Grid grid) {
    if (grid == Grid::middles) {
        static const auto middles = make_spreads(Grid::middles);
        return middles;
    }
    static const auto ends = make_spreads(Grid::ends);
    return ends;
}

/// `spreads` has an entry for each value of a channel; `keep(from, to)` writes the bytes of a pixel
/// that is an exact colour, and tells whether it is.
template <class Channel, class Keep>
void dither(const Channel *from, ImageSize size, std::uint8_t *to, const GridSpread *spreads,
            Keep keep) {
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x, from += 3, to += 3) {
            if (keep(from, to))
                continue;
            const int threshold = grid_threshold(std::uint32_t(x), std::uint32_t(y));
            for (int i = 0; i < 3; ++i)
                to[i] = static_cast<std::uint8_t>(4 * grid_cell(spreads[from[i]], threshold) + 1);
        }
}

} // namespace

void dither_to_grid(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes) {
    dither(light.data(), size, bytes.data(), spreads_of_light(grid).data(),
           [&](const std::uint16_t *from, std::uint8_t *to) {
               const bool kept = exact.hold(from);
               if (kept)
                   bytes_of_light({from, 3}, {to, 3});
               return kept;
           });
}

void dither_to_grid(std::span<const std::uint8_t> picture, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes) {
    std::array<GridSpread, 256> spreads{};
    std::array<bool, 256> occurs{}; // as the green of an exact colour
    for (int byte = 0; byte < 256; ++byte) {
        const auto i = static_cast<std::size_t>(byte);
        spreads[i] = grid_spread(grid_place(grid, 256 * byte));
        occurs[i] = exact.have_green(light_of_byte(static_cast<std::uint8_t>(byte)));
    }
    dither(picture.data(), size, bytes.data(), spreads.data(),
           [&](const std::uint8_t *from, std::uint8_t *to) {
               const bool kept = occurs[from[1]] && exact.hold(from);
               if (kept)
                   for (int i = 0; i < 3; ++i)
                       to[i] = from[i];
               return kept;
           });
}

} // namespace oxel::tools
