// What is shown while something is dragged: nearly what a rendering shows, in a fraction of its
// time.
#include "Oxel_Morvel6_render.h"
#include "developed.h"
#include "panels/picture_needs.h"
#include "preparation/grid.h"
#include "preparation/preroll.h"
#include "same_bytes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

using namespace oxel::tools;

namespace {

constexpr std::size_t levels = 32; // a channel has in the table
constexpr std::size_t table_size = levels * levels * levels;

/// Where the colours of a picture are in the table. Adjustments leave them there, so that a picture
/// that comes again has them already.
struct DitheredPicture {
    std::int32_t width = 0;
    std::vector<std::uint8_t> picture; // 3 bytes a pixel
    std::vector<std::uint16_t> places; // one a pixel
    std::array<bool, table_size> occurs{};

    void dither(std::span<const std::uint8_t> wanted, ImageSize size) {
        if (size.width == width && same_bytes(wanted, picture))
            return;
        width = size.width;
        picture.assign(wanted.begin(), wanted.end());
        places.resize(size.pixels());
        occurs.fill(false);
        std::array<std::uint32_t, 256> scaled{}; // in steps between levels
        for (std::uint32_t byte = 0; byte < 256; ++byte)
            scaled[byte] = byte * (levels - 1) * grid_steps / 255;
        const std::uint8_t *from = picture.data();
        std::uint16_t *to = places.data();
        for (std::int32_t y = 0; y < size.height; ++y)
            for (std::int32_t x = 0; x < size.width; ++x, from += 3) {
                const auto threshold = static_cast<std::uint32_t>(
                    grid_threshold(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)));
                const auto level = [&](int channel) {
                    return (scaled[from[channel]] + threshold) / grid_steps;
                };
                const std::size_t place = (level(0) * levels + level(1)) * levels + level(2);
                occurs[place] = true;
                *to++ = static_cast<std::uint16_t>(place);
            }
    }
};

DitheredPicture dithered;

/// A table of colours, adjusted: a picture has many times as many pixels. What has not occurred
/// since the amounts changed is absent.
struct AdjustedColours {
    std::array<std::int32_t, 4> amounts{};
    double gamma = 0; // which none has
    std::array<std::uint32_t, table_size> colours{};

    static constexpr std::uint32_t absent = 0; // no cell's middle

    std::int32_t adjust(const std::array<bool, table_size> &occurs,
                        const std::array<std::int32_t, 4> &wanted, double wanted_gamma) {
        if (amounts != wanted || gamma != wanted_gamma)
            colours.fill(absent);
        amounts = wanted;
        gamma = wanted_gamma;
        std::vector<std::uint8_t> bytes(3 * table_size);
        std::uint8_t *next = bytes.data();
        const auto byte = [](std::size_t level) {
            return static_cast<std::uint8_t>(level * 255 / (levels - 1));
        };
        for (std::size_t place = 0; place < table_size; ++place)
            if (occurs[place] && colours[place] == absent) {
                *next++ = byte(place / (levels * levels));
                *next++ = byte(place / levels % levels);
                *next++ = byte(place % levels);
            }
        const auto missing = static_cast<std::int32_t>((next - bytes.data()) / 3);
        if (missing == 0)
            return OXEL_SUCCESS;
        const std::int32_t status =
            Oxel_image_adjustment(bytes.data(), ORDER_RGB, bytes.data(), ORDER_RGB, missing, 1,
                                  wanted[0], wanted[1], wanted[2], wanted[3], wanted_gamma);
        if (status != OXEL_SUCCESS)
            return status;
        std::array<std::uint32_t, 256> cells{}; // of the gamut table, the nearest one's middle
        for (std::uint32_t value = 0; value < 256; ++value)
            cells[value] = 4 * ((value * 63 + 127) / 255) + 1;
        next = bytes.data();
        for (std::size_t place = 0; place < table_size; ++place)
            if (occurs[place] && colours[place] == absent) {
                colours[place] = cells[next[0]] | cells[next[1]] << 8 | cells[next[2]] << 16;
                next += 3;
            }
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
    dithered.dither({picture, 3 * size.pixels()}, size);
    const std::int32_t status =
        adjusted.adjust(dithered.occurs, {hsl[0], hsl[1], hsl[2], hsl[3]}, gamma);
    if (status != OXEL_SUCCESS)
        return status;
    std::uint8_t *to = prepared + std::size_t{3} * static_cast<std::size_t>(width) *
                                      static_cast<std::size_t>(preroll);
    const std::uint16_t *place = dithered.places.data();
    const std::uint16_t *const last = place + size.pixels() - 1;
    for (; place != last; ++place, to += 3) // with a byte more, which the next one overwrites
        std::memcpy(to, &adjusted.colours[*place], 4);
    std::memcpy(to, &adjusted.colours[*place], 3);
    mirror_above({prepared, to}, size, preroll);
    return OXEL_SUCCESS;
}
}
