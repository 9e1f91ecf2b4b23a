// The preparation of pictures behind a C interface, for Python's ctypes.

#include "preparation/preparation.h"
#include "Oxel_Morvel6_render.h"
#include "panels/picture_needs.h"
#include "preparation/light.h"

#include <algorithm>
#include <new>
#include <utility>

using namespace oxel::tools;

namespace {

void swap_channels(std::span<std::uint8_t> pixels) {
    for (std::size_t i = 0; i < pixels.size(); i += 3)
        std::swap(pixels[i], pixels[i + 2]);
}

/// Calls work(light), where light is the picture's in R, G, B, and returns a status.
template <class Work>
std::int32_t with_light(const std::uint8_t *picture, std::uint32_t byte_order, ImageSize size,
                        Work work) {
    try {
        std::vector<std::uint8_t> bytes(picture, picture + 3 * size.pixels());
        if (byte_order == ORDER_BGR)
            swap_channels(bytes);
        Light light(bytes.size());
        light_of_bytes(bytes, light);
        work(light);
        return OXEL_SUCCESS;
    } catch (const std::bad_alloc &) {
        return OXEL_OUT_OF_MEMORY;
    }
}

} // namespace

extern "C" {

/// How many rows oxel_prepare should put above a picture of this size.
std::int32_t oxel_preroll_rows(std::int32_t width, std::int32_t height) {
    return preroll_rows({width, height});
}

/// `prepared` receives `preroll` rows more than the picture has.
std::int32_t oxel_prepare(const std::uint8_t *package, std::size_t package_size,
                          const std::uint8_t *picture, std::uint32_t byte_order, std::int32_t width,
                          std::int32_t height, std::int32_t preroll, std::uint8_t *prepared) {
    const std::span<const std::uint8_t> tables(package, package_size);
    return with_light(picture, byte_order, {width, height}, [&](const Light &light) {
        PreparedPicture result =
            prepare(light, {width, height}, grid_of(tables), exact_colours_of(tables), preroll);
        if (byte_order == ORDER_BGR)
            swap_channels(result.bytes);
        std::copy(result.bytes.begin(), result.bytes.end(), prepared);
    });
}

/// The amounts are those of struct Development, in its order.
std::int32_t oxel_develop(const std::uint8_t *picture, std::uint32_t byte_order, std::int32_t width,
                          std::int32_t height, const std::int32_t *amounts, std::uint8_t *output) {
    return with_light(picture, byte_order, {width, height}, [&](Light &light) {
        develop(light, {width, height},
                {amounts[0], amounts[1], amounts[2], amounts[3],
                 static_cast<WhiteBalance>(amounts[4]), amounts[5] != 0, amounts[6] != 0},
                ExactColours());
        const std::span<std::uint8_t> bytes(output, light.size());
        bytes_of_light(light, bytes);
        if (byte_order == ORDER_BGR)
            swap_channels(bytes);
    });
}
}
