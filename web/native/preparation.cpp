// What happens to a picture before it is rendered, behind a C interface.
#include "Oxel_Morvel6_render.h"
#include "panels/picture_needs.h"
#include "panels/table_lookup.h"
#include "preparation/light.h"
#include "preparation/page.h"

#include <algorithm>
#include <array>
#include <vector>

using namespace oxel::tools;

namespace {

/// A picture as it was given or as it became: developed, in light, and otherwise in bytes.
struct Wanted {
    std::int32_t status = OXEL_SUCCESS;
    std::span<const std::uint8_t> bytes;
    Light light;                     // instead of the bytes, if it is not empty
    std::vector<std::uint8_t> owned; // what `bytes` are, if they are not the picture's

    Light &in_light() {
        if (light.empty()) {
            light.resize(bytes.size());
            light_of_bytes(bytes, light);
        }
        return light;
    }
};

/// Develops and adjusts a picture of 3 bytes a pixel. `amounts` are those of struct Development,
/// then those of Oxel_image_adjustment up to the contrast.
Wanted wanted(const std::uint8_t *picture, ImageSize size, const std::int32_t *amounts,
              double gamma, const ExactColours &exact) {
    Wanted result;
    const std::size_t channels = 3 * size.pixels();
    result.bytes = {picture, channels};
    const Development development{amounts[0],
                                  amounts[1],
                                  amounts[2],
                                  amounts[3],
                                  static_cast<WhiteBalance>(amounts[4]),
                                  amounts[5] != 0,
                                  amounts[6] != 0};
    if (development != Development{})
        develop(result.in_light(), size, development, exact);
    const std::int32_t *hsl = amounts + 7;
    if (gamma == 1 && std::all_of(hsl, hsl + 4, [](std::int32_t amount) { return amount == 0; }))
        return result;
    result.owned.resize(channels);
    if (!result.light.empty()) {
        bytes_of_light(result.light, result.owned);
        result.bytes = result.owned;
        result.light = {};
    }
    result.status =
        Oxel_image_adjustment(result.bytes.data(), ORDER_RGB, result.owned.data(), ORDER_RGB,
                              size.width, size.height, hsl[0], hsl[1], hsl[2], hsl[3], gamma);
    result.bytes = result.owned;
    return result;
}

/// Whether find_inks might find an area: so many pixels of an ink, which photographs seldom have,
/// are counted sooner than searched.
bool might_have_inks(const Wanted &picture, const InkColours &colours) {
    if (!picture.light.empty())
        return true;
    std::array<bool, 256> greens{};
    for (const InkColours::Colour &colour : colours.colours())
        greens[colour.bytes[1]] = true;
    std::size_t left = least_ink_area;
    for (const std::uint8_t *at = picture.bytes.data();
         at < picture.bytes.data() + picture.bytes.size(); at += 3)
        if (greens[at[1]] &&
            std::any_of(colours.colours().begin(), colours.colours().end(),
                        [at](const auto &colour) {
                            return std::equal(at, at + 3, colour.bytes.begin());
                        }) &&
            --left == 0)
            return true;
    return false;
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
    if (!might_have_inks(input, colours))
        return OXEL_SUCCESS;
    const InkPlane plane = find_inks(input.in_light(), size, colours);
    if (plane.empty())
        return OXEL_SUCCESS;
    *found = 1;
    std::copy(plane.begin(), plane.end(), inks);
    if (const auto other = prepare_apart(input.light, size, grid, exact, plane, preroll)) {
        *found = 2;
        std::copy(other->bytes.begin(), other->bytes.end(), apart);
    }
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
        input.owned = bytes_of(input.light);
        input.bytes = input.owned;
    }
    std::vector<std::uint8_t> indices(size.pixels());
    if (!look_up(tables, input.bytes, indices))
        return OXEL_UNUSABLE_TABLES;
    for (const std::uint8_t index : indices)
        output = std::copy_n(colours + std::size_t{3} * index, 3, output);
    return OXEL_SUCCESS;
}
}
