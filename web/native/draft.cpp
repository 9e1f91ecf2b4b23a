// What is shown while something is dragged: nearly what a rendering shows, in a fraction of its
// time.
#include "Oxel_Morvel6_render.h"
#include "developed.h"
#include "panels/picture_needs.h"
#include "preparation/grid.h"
#include "preparation/preroll.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

using namespace oxel::tools;

namespace {

constexpr std::size_t levels = 32; // a channel has in the table

/// A table of colours, adjusted: a picture has many times as many pixels.
struct AdjustedColours {
    std::array<std::int32_t, 4> amounts{};
    double gamma = 0; // which none has
    std::vector<std::uint32_t> colours;

    std::int32_t adjust(const std::array<std::int32_t, 4> &wanted, double wanted_gamma) {
        if (amounts == wanted && gamma == wanted_gamma)
            return OXEL_SUCCESS;
        std::vector<std::uint8_t> table(3 * levels * levels * levels);
        std::uint8_t *next = table.data();
        const auto byte = [](std::size_t level) {
            return static_cast<std::uint8_t>(level * 255 / (levels - 1));
        };
        for (std::size_t r = 0; r < levels; ++r)
            for (std::size_t g = 0; g < levels; ++g)
                for (std::size_t b = 0; b < levels; ++b) {
                    *next++ = byte(r);
                    *next++ = byte(g);
                    *next++ = byte(b);
                }
        const std::int32_t status =
            Oxel_image_adjustment(table.data(), ORDER_RGB, table.data(), ORDER_RGB, levels * levels,
                                  levels, wanted[0], wanted[1], wanted[2], wanted[3], wanted_gamma);
        if (status != OXEL_SUCCESS)
            return status;
        std::array<std::uint32_t, 256> cells{}; // of the gamut table, the nearest one's middle
        for (std::uint32_t value = 0; value < 256; ++value)
            cells[value] = 4 * ((value * 63 + 127) / 255) + 1;
        colours.resize(levels * levels * levels);
        const std::uint8_t *channels = table.data();
        for (std::uint32_t &colour : colours) {
            colour = cells[channels[0]] | cells[channels[1]] << 8 | cells[channels[2]] << 16;
            channels += 3;
        }
        amounts = wanted;
        gamma = wanted_gamma;
        return OXEL_SUCCESS;
    }
};

AdjustedColours adjusted;
DevelopedPicture developed; // of a draft, which may have another size than what follows

} // namespace

extern "C" {

/// Develops a picture of 3 bytes a pixel as oxel_prepare does; adjusts and dithers it by way of 32
/// levels a channel. `prepared` receives `preroll` rows more than the picture has.
std::int32_t oxel_prepare_draft(const std::uint8_t *package, std::size_t package_size,
                                const std::uint8_t *picture, std::int32_t width,
                                std::int32_t height, const std::int32_t *amounts, double gamma,
                                std::int32_t preroll, std::uint8_t *prepared) {
    const ImageSize size{width, height};
    if (const Development development = development_of(amounts); development != Development{}) {
        developed.expect_changes();
        picture = developed
                      .bytes({picture, 3 * size.pixels()}, size, development,
                             exact_colours_of({package, package_size}))
                      .data();
    }
    const std::int32_t *hsl = amounts + 7;
    const std::int32_t status = adjusted.adjust({hsl[0], hsl[1], hsl[2], hsl[3]}, gamma);
    if (status != OXEL_SUCCESS)
        return status;
    std::array<std::uint32_t, 256> places{}; // on the scale of levels
    for (std::uint32_t byte = 0; byte < 256; ++byte)
        places[byte] = byte * (levels - 1) * grid_steps / 255;
    std::uint8_t *to = prepared + std::size_t{3} * static_cast<std::size_t>(width) *
                                      static_cast<std::size_t>(preroll);
    const std::uint32_t *const colours = adjusted.colours.data();
    for (std::int32_t y = 0; y < height; ++y)
        for (std::int32_t x = 0; x < width; ++x, picture += 3, to += 3) {
            const auto threshold = static_cast<std::uint32_t>(
                grid_threshold(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)));
            const auto level = [&](int channel) {
                return (places[picture[channel]] + threshold) / grid_steps;
            };
            std::memcpy(to, &colours[(level(0) * levels + level(1)) * levels + level(2)], 3);
        }
    mirror_above({prepared, to}, size, preroll);
    return OXEL_SUCCESS;
}
}
