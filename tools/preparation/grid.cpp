#include "preparation/grid.h"

#include "preparation/light.h"

namespace oxel::tools {

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
            const int threshold = grid_threshold(std::uint32_t(x), std::uint32_t(y));
            for (int i = 0; i < 3; ++i) {
                const int place = grid_place(grid, fine_bytes[from[i]]);
                to[i] = static_cast<std::uint8_t>(4 * grid_cell(place, threshold) + 1);
            }
        }
}

} // namespace oxel::tools
