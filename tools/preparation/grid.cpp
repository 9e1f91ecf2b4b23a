#include "preparation/grid.h"

#include "preparation/light.h"

#include <algorithm>
#include <array>

namespace oxel::tools {

namespace {

constexpr int step_bits = 10; // 1024 steps from a cell to the next
constexpr int last_cell = 63;

int place_on(Grid grid, int fine_byte) {
    return grid == Grid::ends ? (fine_byte * 84 + 42) / 85 // 63 cells of 256 x 255
                              : fine_byte - 3 * 128;       // a cell of 4 bytes, from its middle
}

/// Where a channel lies, and how the noise makes a cell of it.
struct Place {
    int start;  // in steps, half the noise below the place
    int spread; // width of the noise: a whole number of cells, so that the mean is the place
};

Place spread_over(int place, int width) {
    constexpr int cell = 1 << step_bits;
    if (width == 3 && place >= cell && place <= (last_cell - 1) * cell)
        return {place - cell, 3};
    return {place, 1};
}

std::uint8_t byte_of(Place place, int threshold) {
    const int cell = (place.start + place.spread * threshold) >> step_bits;
    return static_cast<std::uint8_t>(4 * std::clamp(cell, 0, last_cell) + 1);
}

} // namespace

int gradient_noise(int x, int y) {
    constexpr std::uint64_t factor = 3555623499; // 52.9829189 in 2^-26
    const std::uint32_t inner = std::uint32_t(x) * 288237660U +
                                std::uint32_t(y) * 25070368U; // in 2^-32, less whole numbers
    return static_cast<int>((inner * factor >> 26 & 0xFFFFFFFFU) >> (32 - step_bits));
}

namespace {

// Of three cells, what is shown is the mean of four, so that the roundings of a table's bytes make
// less of bands. The greys of a table are straight from one to the next.
constexpr int grey_width = 1;
constexpr int colour_width = 3;

/// `keep(from, to)` writes the bytes of a pixel that is an exact colour, and tells whether it is;
/// `place(channel, width)` is a Place.
template <class Channel, class Keep, class PlaceOf>
void dither(const Channel *from, ImageSize size, std::uint8_t *to, Keep keep, PlaceOf place) {
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x, from += 3, to += 3) {
            if (keep(from, to))
                continue;
            const int t = gradient_noise(x, y);
            const bool grey = from[0] == from[1] && from[1] == from[2];
            for (int i = 0; i < 3; ++i)
                to[i] = byte_of(place(from[i], grey ? grey_width : colour_width), t);
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
    dither(light.data(), size, bytes.data(), keep, [&](std::uint16_t channel, int width) {
        return spread_over(place_on(grid, fine_bytes[channel]), width);
    });
}

void dither_to_grid(std::span<const std::uint8_t> picture, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes) {
    std::array<std::array<Place, 256>, 2> places{}; // of greys, of colours
    std::array<bool, 256> occurs{};                 // as the green of an exact colour
    for (int byte = 0; byte < 256; ++byte) {
        const int place = place_on(grid, 256 * byte);
        const auto i = static_cast<std::size_t>(byte);
        places[0][i] = spread_over(place, grey_width);
        places[1][i] = spread_over(place, colour_width);
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
           [&](std::uint8_t channel, int width) { return places[width / colour_width][channel]; });
}

} // namespace oxel::tools
