// What the power guard measures of a picture, behind a C interface.
#include "Oxel_Morvel6_render.h"
#include "render/line_pairs.h"

#include <algorithm>
#include <array>
#include <numeric>

using namespace oxel::tools;

extern "C" {

/// The measures of a prepared picture as it is, and moved down by a row, in a rendering of so many
/// colours. The picture is moved.
std::int32_t oxel_measure(std::uint8_t *picture, std::int32_t width, std::int32_t height,
                          std::int32_t mode, std::int32_t colours, double *measures) {
    std::array<std::uint8_t, 256> indices{};
    std::iota(indices.begin(), indices.end(), std::uint8_t{0});
    const ImageSize size{width, height};
    Bytes rendering(3 * size.pixels());
    const std::uint8_t *const codes = TCON_INDEX_TABLE;
    for (int shift = 0; shift < 2; ++shift) {
        if (shift > 0) {
            const auto row = static_cast<std::ptrdiff_t>(3) * width;
            std::uint8_t *const end = picture + 3 * size.pixels();
            std::move_backward(picture, end - row, end);
            std::fill(picture, picture + row, std::uint8_t{0});
        }
        TCON_INDEX_TABLE = indices.data();
        const std::int32_t status =
            Oxel_Morvel6_render(picture, ORDER_RGB, rendering.data(), ORDER_RGB, width, height,
                                static_cast<std::uint32_t>(mode), OUTPUT_TCON_CODE);
        TCON_INDEX_TABLE = codes;
        if (status != OXEL_SUCCESS)
            return status;
        measures[shift] = guard_measure(line_pair_changes(rendering, size, colours));
    }
    return OXEL_SUCCESS;
}
}
