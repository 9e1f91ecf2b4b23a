// The preparation of pictures behind a C interface, for Python's ctypes.

#include "Oxel_Morvel6_render.h"
#include "panels/picture_needs.h"
#include "panels/table_lookup.h"
#include "preparation/light.h"
#include "preparation/page.h"

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

/// `prepared` receives `preroll` rows more than the picture has; so does `apart`, and `inks` a
/// number a pixel, as in struct Page. `found` becomes 0 without inks, 1 if `inks` is filled, 2 if
/// `apart` is too. `choice` is a value of enum Inks.
std::int32_t oxel_prepare(const std::uint8_t *package, std::size_t package_size,
                          const std::uint8_t *picture, std::uint32_t byte_order, std::int32_t width,
                          std::int32_t height, std::int32_t preroll, std::int32_t choice,
                          std::uint8_t *prepared, std::uint8_t *apart, std::int16_t *inks,
                          std::int32_t *found) {
    const std::span<const std::uint8_t> tables(package, package_size);
    const ImageSize size{width, height};
    return with_light(picture, byte_order, size, [&](const Light &light) {
        const auto deliver = [&](PreparedPicture &from, std::uint8_t *to) {
            if (byte_order == ORDER_BGR)
                swap_channels(from.bytes);
            std::copy(from.bytes.begin(), from.bytes.end(), to);
        };
        Page page = prepare_page(
            light, size, grid_of(tables), exact_colours_of(tables),
            find_inks(light, size, ink_colours_of(tables, static_cast<Inks>(choice))), preroll);
        deliver(page.picture, prepared);
        if (page.apart)
            deliver(*page.apart, apart);
        std::copy(page.inks.begin(), page.inks.end(), inks);
        *found = page.apart ? 2 : page.inks.empty() ? 0 : 1;
    });
}

/// See put_together.
void oxel_put_together(const std::int16_t *inks, std::size_t pixels, const std::uint8_t *colours,
                       const std::uint8_t *apart, std::uint8_t *rendering) {
    put_together({inks, pixels}, {colours, 3 * 256}, {apart, 3 * pixels}, {rendering, 3 * pixels});
}

/// The palette index of each pixel by the package's tables alone.
std::int32_t oxel_look_up(const std::uint8_t *package, std::size_t package_size,
                          const std::uint8_t *picture, std::size_t pixels, std::uint8_t *indices) {
    return look_up({package, package_size}, {picture, 3 * pixels}, {indices, pixels})
               ? OXEL_SUCCESS
               : OXEL_UNUSABLE_TABLES;
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
