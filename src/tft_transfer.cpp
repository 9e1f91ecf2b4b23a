#include "Oxel_Morvel6_render.h"
#include "forms/forms.h"
#include "heap_bytes.h"
#include "image_size.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

constexpr std::size_t pixel_size = 3;

/// Interleaves each pair of rows into one row of twice the width. A result row takes the place of
/// its pair. Written from the left, it never overtakes the lower row's next pixel, so only the
/// upper row has to be saved.
void merge_pairs(std::uint8_t *rows, std::size_t width, std::size_t height, bool lower_first,
                 std::uint8_t *upper) {
    const std::size_t stride = pixel_size * width;
    for (std::size_t pair = 0; pair < height / 2; ++pair, rows += 2 * stride) {
        std::memcpy(upper, rows, stride);
        const std::uint8_t *const lower = rows + stride;
        chosen_form().merge_rows(lower_first ? lower : upper, lower_first ? upper : lower, width,
                                 rows);
    }
}

void swap_pairs(std::uint8_t *rows, std::size_t width, std::size_t height) {
    const std::size_t stride = pixel_size * width;
    std::uint8_t upper[4096];
    for (std::size_t pair = 0; pair < height / 2; ++pair, rows += 2 * stride)
        for (std::size_t start = 0; start < stride; start += sizeof upper) {
            const std::size_t count = std::min(sizeof upper, stride - start);
            std::memcpy(upper, rows + start, count);
            std::memcpy(rows + start, rows + stride + start, count);
            std::memcpy(rows + stride + start, upper, count);
        }
}

/// Splits each row into two rows of half the width. The result is never longer than what has been
/// read, so one saved row is enough.
void split_rows(std::uint8_t *rows, std::size_t width, std::size_t height, bool even_first,
                std::uint8_t *saved) {
    const std::size_t stride = pixel_size * width;
    const std::size_t half = pixel_size * (width / 2);
    std::uint8_t *result = rows;
    for (std::size_t row = 0; row < height; ++row, rows += stride, result += 2 * half) {
        std::memcpy(saved, rows, stride);
        std::uint8_t *const odd = result + (even_first ? half : 0);
        std::uint8_t *const even = result + (even_first ? 0 : half);
        chosen_form().split_row(saved, width / 2, odd, even);
    }
}

bool merges(std::int32_t mode) {
    return mode == TFT_PAIR_MERGE_UPPER_FIRST || mode == TFT_PAIR_MERGE_LOWER_FIRST;
}

/// Merges pairs of rows or splits rows, as `mode` says.
std::int32_t resize(std::uint8_t *pixels, ImageSize size, std::int32_t mode) {
    if (size.empty())
        return OXEL_SUCCESS;
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    const auto saved_row = HeapBytes::uninitialised(pixel_size * width);
    if (!saved_row)
        return OXEL_OUT_OF_MEMORY;
    if (merges(mode))
        merge_pairs(pixels, width, height, mode == TFT_PAIR_MERGE_LOWER_FIRST, saved_row.get());
    else
        split_rows(pixels, width, height, mode == TFT_HSD_EVEN_ODD, saved_row.get());
    return OXEL_SUCCESS;
}

} // namespace

} // namespace oxel

int32_t Oxel_TFT_format_transfer(uint8_t *data, int32_t *width, int32_t *height,
                                 int32_t mode) noexcept {
    using namespace oxel;
    if (mode < TFT_PAIR_MERGE_UPPER_FIRST || mode > TFT_HSD_EVEN_ODD)
        return OXEL_BAD_SELECTOR;
    if (!width || !height || *width < 0 || *height < 0)
        return OXEL_BAD_ARGUMENT;
    const ImageSize size{*width, *height};
    if (!size.supported() || (!data && !size.empty()))
        return OXEL_BAD_ARGUMENT;
    if (mode == TFT_PAIR_SWAP) {
        if (!size.empty())
            swap_pairs(data, static_cast<std::size_t>(size.width),
                       static_cast<std::size_t>(size.height));
        return OXEL_SUCCESS;
    }

    const std::int32_t doubled = merges(mode) ? size.width : size.height;
    if (doubled > INT32_MAX / 2)
        return OXEL_BAD_ARGUMENT;
    if (const auto failure = resize(data, size, mode))
        return failure;
    *width = merges(mode) ? 2 * size.width : size.width / 2;
    *height = merges(mode) ? size.height / 2 : 2 * size.height;
    return OXEL_SUCCESS;
}
