#include "preparation/grid.h"

#include "preparation/light.h"

#include <algorithm>

namespace oxel::tools {

namespace {

constexpr int step_bits = 10; // 1024 steps from a cell to the next
constexpr int last_cell = 63;

int place_on(Grid grid, int fine_byte) {
    return grid == Grid::ends ? (fine_byte * 84 + 42) / 85 // 63 cells of 256 x 255
                              : fine_byte - 3 * 128;       // a cell of 4 bytes, from its middle
}

/// `width`, of the noise, is a whole number of cells, so that the mean is the place.
int cell_at(int place, int threshold, int width) {
    constexpr int cell = 1 << step_bits;
    if (width == 3 && place >= cell && place <= (last_cell - 1) * cell)
        return (place + 3 * threshold - cell) >> step_bits;
    return std::clamp((place + threshold) >> step_bits, 0, last_cell);
}

} // namespace

int gradient_noise(int x, int y) {
    constexpr std::uint64_t factor = 3555623499; // 52.9829189 in 2^-26
    const std::uint32_t inner = std::uint32_t(x) * 288237660U +
                                std::uint32_t(y) * 25070368U; // in 2^-32, less whole numbers
    return static_cast<int>((inner * factor >> 26 & 0xFFFFFFFFU) >> (32 - step_bits));
}

void dither_to_grid(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes) {
    const auto fine_bytes = fine_bytes_of_light();
    const std::uint16_t *from = light.data();
    std::uint8_t *to = bytes.data();
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x, from += 3, to += 3) {
            if (exact.hold(from)) {
                bytes_of_light({from, 3}, {to, 3});
                continue;
            }
            const int t = gradient_noise(x, y);
            // Of three cells, what is shown is the mean of four, so that the roundings of a table's
            // bytes make less of bands. The greys of a table are straight from one to the next.
            const int width = from[0] == from[1] && from[1] == from[2] ? 1 : 3;
            for (int i = 0; i < 3; ++i) {
                const int place = place_on(grid, fine_bytes[from[i]]);
                to[i] = static_cast<std::uint8_t>(4 * cell_at(place, t, width) + 1);
            }
        }
}

} // namespace oxel::tools
