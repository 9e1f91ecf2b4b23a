#include "preparation/grid.h"

#include "preparation/light.h"

#include <array>

namespace oxel::tools {

namespace {

/// `keep(from, to)` writes the bytes of a pixel that is an exact colour, and tells whether it is;
/// `spread(channel)` is a GridSpread.
template <class Channel, class Keep, class Spread>
void dither(const Channel *from, ImageSize size, std::uint8_t *to, Keep keep, Spread spread) {
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x, from += 3, to += 3) {
            if (keep(from, to))
                continue;
            const int threshold = grid_threshold(std::uint32_t(x), std::uint32_t(y));
            for (int i = 0; i < 3; ++i)
                to[i] = static_cast<std::uint8_t>(4 * grid_cell(spread(from[i]), threshold) + 1);
        }
}

} // namespace

void dither_to_grid(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes) {
    const auto fine_bytes = fine_bytes_of_light();
    const auto keep = [&](const std::uint16_t *from, std::uint8_t *to) {
        const bool kept = exact.hold(from);
        if (kept)
            bytes_of_light({from, 3}, {to, 3});
        return kept;
    };
    dither(light.data(), size, bytes.data(), keep, [&](std::uint16_t channel) {
        return grid_spread(grid_place(grid, fine_bytes[channel]));
    });
}

void dither_to_grid(std::span<const std::uint8_t> picture, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes) {
    std::array<GridSpread, 256> spreads{};
    std::array<bool, 256> occurs{}; // as the green of an exact colour
    for (int byte = 0; byte < 256; ++byte) {
        const auto i = static_cast<std::size_t>(byte);
        spreads[i] = grid_spread(grid_place(grid, 256 * byte));
        occurs[i] = exact.have_green(static_cast<std::uint8_t>(byte));
    }
    const auto keep = [&](const std::uint8_t *from, std::uint8_t *to) {
        const bool kept = occurs[from[1]] && exact.hold(from);
        if (kept)
            for (int i = 0; i < 3; ++i)
                to[i] = from[i];
        return kept;
    };
    dither(picture.data(), size, bytes.data(), keep,
           [&](std::uint8_t channel) { return spreads[channel]; });
}

} // namespace oxel::tools
