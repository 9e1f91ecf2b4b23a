// What happens to a picture before it is rendered, behind a C interface.
#include "preparation/preparation.h"
#include "Oxel_Morvel6_render.h"
#include "panels/picture_needs.h"
#include "preparation/light.h"

#include <algorithm>
#include <vector>

using namespace oxel::tools;

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
    const ImageSize size{width, height};
    const std::size_t channels = 3 * size.pixels();
    const ExactColours exact = exact_colours_of(tables);
    const Development development{amounts[0],
                                  amounts[1],
                                  amounts[2],
                                  amounts[3],
                                  static_cast<WhiteBalance>(amounts[4]),
                                  amounts[5] != 0,
                                  amounts[6] != 0};
    const std::int32_t *hsl = amounts + 7;

    Light light(channels);
    light_of_bytes({picture, channels}, light);
    if (development != Development{})
        develop(light, size, development, exact);
    if (std::any_of(hsl, hsl + 4, [](std::int32_t amount) { return amount != 0; }) || gamma != 1) {
        std::vector<std::uint8_t> bytes = bytes_of(light);
        if (const std::int32_t status =
                Oxel_image_adjustment(bytes.data(), ORDER_RGB, bytes.data(), ORDER_RGB, width,
                                      height, hsl[0], hsl[1], hsl[2], hsl[3], gamma))
            return status;
        light_of_bytes(bytes, light);
    }
    const PreparedPicture result = prepare(light, size, grid_of(tables), exact, preroll);
    std::copy(result.bytes.begin(), result.bytes.end(), prepared);
    return OXEL_SUCCESS;
}
}
