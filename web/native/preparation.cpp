// What happens to a picture before it is rendered, behind a C interface.
#include "Oxel_Morvel6_render.h"
#include "panels/picture_needs.h"
#include "preparation/light.h"
#include "preparation/page.h"

#include <algorithm>
#include <vector>

using namespace oxel::tools;

namespace {

/// Develops and adjusts a picture of 3 bytes a pixel. Returns the adjustment's status.
std::int32_t develop_and_adjust(const std::uint8_t *picture, ImageSize size,
                                const std::int32_t *amounts, double gamma,
                                const ExactColours &exact, Light &light) {
    const Development development{amounts[0],
                                  amounts[1],
                                  amounts[2],
                                  amounts[3],
                                  static_cast<WhiteBalance>(amounts[4]),
                                  amounts[5] != 0,
                                  amounts[6] != 0};
    const std::int32_t *hsl = amounts + 7;
    light.resize(3 * size.pixels());
    light_of_bytes({picture, light.size()}, light);
    if (development != Development{})
        develop(light, size, development, exact);
    if (std::any_of(hsl, hsl + 4, [](std::int32_t amount) { return amount != 0; }) || gamma != 1) {
        std::vector<std::uint8_t> bytes = bytes_of(light);
        if (const std::int32_t status =
                Oxel_image_adjustment(bytes.data(), ORDER_RGB, bytes.data(), ORDER_RGB, size.width,
                                      size.height, hsl[0], hsl[1], hsl[2], hsl[3], gamma))
            return status;
        light_of_bytes(bytes, light);
    }
    return OXEL_SUCCESS;
}

} // namespace

extern "C" {

/// How many rows oxel_prepare should put above a picture of this size.
std::int32_t oxel_preroll_rows(std::int32_t width, std::int32_t height) {
    return preroll_rows({width, height});
}

/// Develops, adjusts and prepares a picture of 3 bytes a pixel for the package. `amounts` are those
/// of struct Development, then those of Oxel_image_adjustment up to the contrast. `prepared`
/// receives `preroll` rows more than the picture has.
std::int32_t oxel_prepare(const std::uint8_t *package, std::size_t package_size,
                          const std::uint8_t *picture, std::int32_t width, std::int32_t height,
                          const std::int32_t *amounts, double gamma, std::int32_t preroll,
                          std::uint8_t *prepared) {
    const std::span<const std::uint8_t> tables(package, package_size);
    const ExactColours exact = exact_colours_of(tables);
    Light light;
    if (const std::int32_t status =
            develop_and_adjust(picture, {width, height}, amounts, gamma, exact, light))
        return status;
    const PreparedPicture result = prepare(light, {width, height}, grid_of(tables), exact, preroll);
    std::copy(result.bytes.begin(), result.bytes.end(), prepared);
    return OXEL_SUCCESS;
}

/// Finds the inks of a picture that oxel_prepare would take, by a value of enum Inks. `inks`
/// receives a number a pixel, as in struct Page, and `apart` what `prepared` does. Returns 0 if
/// there are none, 1 if `inks` is filled, 2 if `apart` is too.
std::int32_t oxel_find_inks(const std::uint8_t *package, std::size_t package_size,
                            const std::uint8_t *picture, std::int32_t width, std::int32_t height,
                            const std::int32_t *amounts, double gamma, std::int32_t preroll,
                            std::int32_t choice, std::uint8_t *apart, std::int16_t *inks) {
    const std::span<const std::uint8_t> tables(package, package_size);
    const ImageSize size{width, height};
    const ExactColours exact = exact_colours_of(tables);
    Light light;
    if (develop_and_adjust(picture, size, amounts, gamma, exact, light) != OXEL_SUCCESS)
        return 0;
    const InkPlane plane =
        find_inks(light, size, ink_colours_of(tables, static_cast<Inks>(choice)));
    if (plane.empty())
        return 0;
    std::copy(plane.begin(), plane.end(), inks);
    const auto picture_apart = prepare_apart(light, size, grid_of(tables), exact, plane, preroll);
    if (!picture_apart)
        return 1;
    std::copy(picture_apart->bytes.begin(), picture_apart->bytes.end(), apart);
    return 2;
}

/// Puts the inks and what is beside them into a rendering, as put_together does.
void oxel_put_together(const std::int16_t *inks, std::size_t pixels, const std::uint8_t *colours,
                       const std::uint8_t *apart, std::uint8_t *rendering) {
    put_together({inks, pixels}, {colours, 3 * 256}, {apart, 3 * pixels}, {rendering, 3 * pixels});
}
}
