// What happens to a picture before it is rendered, behind a C interface.
#include "Oxel_Morvel6_render.h"
#include "developed.h"
#include "panels/picture_needs.h"
#include "panels/table_lookup.h"
#include "preparation/light.h"
#include "preparation/page.h"

#include <algorithm>
#include <vector>

using namespace oxel::tools;

namespace {

DevelopedPicture developed;

/// A picture as it was given or as it became: developed, in light, and otherwise in bytes.
struct Wanted {
    std::int32_t status = OXEL_SUCCESS;
    std::span<const std::uint8_t> bytes;
    std::span<const std::uint16_t> light; // instead of the bytes, if it is not empty
    std::vector<std::uint8_t> adjusted;   // what `bytes` are, if they have been adjusted
};

/// Develops and adjusts a picture of 3 bytes a pixel. `amounts` are those of struct Development,
/// then those of Oxel_image_adjustment up to the contrast.
Wanted wanted(const std::uint8_t *picture, ImageSize size, const std::int32_t *amounts,
              double gamma, const ExactColours &exact) {
    Wanted result;
    result.bytes = {picture, 3 * size.pixels()};
    const Development development = development_of(amounts);
    const bool develops = development != Development{};
    const std::int32_t *hsl = amounts + 7;
    if (gamma == 1 && std::all_of(hsl, hsl + 4, [](std::int32_t amount) { return amount == 0; })) {
        if (develops)
            result.light = developed.light(result.bytes, size, development, exact);
        return result;
    }
    if (develops)
        result.bytes = developed.bytes(result.bytes, size, development, exact);
    result.adjusted.resize(result.bytes.size());
    result.status =
        Oxel_image_adjustment(result.bytes.data(), ORDER_RGB, result.adjusted.data(), ORDER_RGB,
                              size.width, size.height, hsl[0], hsl[1], hsl[2], hsl[3], gamma);
    result.bytes = result.adjusted;
    return result;
}

} // namespace

extern "C" {

/// How many rows oxel_prepare should put above a picture of this size.
std::int32_t oxel_preroll_rows(std::int32_t width, std::int32_t height) {
    return preroll_rows({width, height});
}

/// Develops, adjusts and prepares a picture of 3 bytes a pixel for the package. `amounts` are those
/// of struct Development, then those of Oxel_image_adjustment up to the contrast; `choice` is a
/// value of enum Inks. `prepared` receives `preroll` rows more than the picture has; so does
/// `apart`, and `inks` a number a pixel, as in struct Page. `found` becomes 0 without inks, 1 if
/// `inks` is filled, 2 if `apart` is too.
std::int32_t oxel_prepare(const std::uint8_t *package, std::size_t package_size,
                          const std::uint8_t *picture, std::int32_t width, std::int32_t height,
                          const std::int32_t *amounts, double gamma, std::int32_t preroll,
                          std::int32_t choice, std::uint8_t *prepared, std::uint8_t *apart,
                          std::int16_t *inks, std::int32_t *found) {
    const std::span<const std::uint8_t> tables(package, package_size);
    const ImageSize size{width, height};
    const std::size_t channels = 3 * size.pixels();
    const Grid grid = grid_of(tables);
    const ExactColours exact = exact_colours_of(tables);
    Wanted input = wanted(picture, size, amounts, gamma, exact);
    if (input.status != OXEL_SUCCESS)
        return input.status;

    std::uint8_t *const first = prepared + std::size_t{3} * static_cast<std::size_t>(width) *
                                               static_cast<std::size_t>(preroll);
    if (input.light.empty())
        dither_to_grid(input.bytes, size, grid, exact, {first, channels});
    else
        dither_to_grid(input.light, size, grid, exact, {first, channels});
    mirror_above({prepared, first + channels}, size, preroll);

    *found = 0;
    const InkColours colours = ink_colours_of(tables, static_cast<Inks>(choice));
    const auto seek = [&](auto channels) {
        const InkPlane plane = find_inks(channels, size, colours);
        if (plane.empty())
            return;
        *found = 1;
        std::copy(plane.begin(), plane.end(), inks);
        if (const auto other = prepare_apart(channels, size, grid, exact, plane, preroll)) {
            *found = 2;
            std::copy(other->bytes.begin(), other->bytes.end(), apart);
        }
    };
    if (input.light.empty())
        seek(input.bytes);
    else
        seek(input.light);
    return OXEL_SUCCESS;
}

/// Puts the inks and what is beside them into a rendering, as put_together does.
void oxel_put_together(const std::int16_t *inks, std::size_t pixels, const std::uint8_t *colours,
                       const std::uint8_t *apart, std::uint8_t *rendering) {
    put_together({inks, pixels}, {colours, 3 * 256}, {apart, 3 * pixels}, {rendering, 3 * pixels});
}

/// Renders a picture as oxel_prepare takes it without diffusion, by the tables alone. `colours`
/// holds 3 bytes for each palette index.
std::int32_t oxel_render_undiffused(const std::uint8_t *package, std::size_t package_size,
                                    const std::uint8_t *picture, std::int32_t width,
                                    std::int32_t height, const std::int32_t *amounts, double gamma,
                                    const std::uint8_t *colours, std::uint8_t *output) {
    const std::span<const std::uint8_t> tables(package, package_size);
    const ImageSize size{width, height};
    Wanted input = wanted(picture, size, amounts, gamma, exact_colours_of(tables));
    if (input.status != OXEL_SUCCESS)
        return input.status;
    if (!input.light.empty()) {
        input.adjusted = bytes_of(input.light);
        input.bytes = input.adjusted;
    }
    std::vector<std::uint8_t> indices(size.pixels());
    if (!look_up(tables, input.bytes, indices))
        return OXEL_UNUSABLE_TABLES;
    for (const std::uint8_t index : indices)
        output = std::copy_n(colours + std::size_t{3} * index, 3, output);
    return OXEL_SUCCESS;
}
}
