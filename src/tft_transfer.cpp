#include "Oxel_Morvel6_render.h"
#include "heap_array.h"
#include "image_size.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

struct Pixel {
    std::uint8_t bytes[3];
};
static_assert(sizeof(Pixel) == 3 && alignof(Pixel) == 1);

/// Interleaves each pair of rows into one row of twice the width. A result row covers just the
/// bytes of its pair and is written from the left, never past the lower row's next pixel: only
/// the upper row has to be saved.
void merge_pairs(Pixel *rows, std::size_t width, std::size_t height, bool lower_first,
                 Pixel *upper) {
    for (std::size_t pair = 0; pair < height / 2; ++pair, rows += 2 * width) {
        std::copy_n(rows, width, upper);
        for (std::size_t x = 0; x < width; ++x) {
            const Pixel lower = rows[width + x];
            rows[2 * x] = lower_first ? lower : upper[x];
            rows[2 * x + 1] = lower_first ? upper[x] : lower;
        }
    }
}

void swap_pairs(Pixel *rows, ImageSize size) {
    for (std::int32_t pair = 0; pair < size.height / 2; ++pair, rows += 2 * size.width)
        std::swap_ranges(rows, rows + size.width, rows + size.width);
}

/// Splits each row into two rows of half the width. The result is never longer than what has been
/// read, so one saved row is enough.
void split_rows(Pixel *rows, std::size_t width, std::size_t height, bool even_first, Pixel *saved) {
    const std::size_t half = width / 2;
    Pixel *result = rows;
    for (std::size_t row = 0; row < height; ++row, rows += width, result += 2 * half) {
        std::copy_n(rows, width, saved);
        for (std::size_t x = 0; x < half; ++x) {
            result[x] = saved[2 * x + (even_first ? 1 : 0)];
            result[half + x] = saved[2 * x + (even_first ? 0 : 1)];
        }
    }
}

bool merges(std::int32_t mode) {
    return mode == TFT_PAIR_MERGE_UPPER_FIRST || mode == TFT_PAIR_MERGE_LOWER_FIRST;
}

/// Merges or splits.
std::int32_t resize(Pixel *pixels, ImageSize size, std::int32_t mode) {
    if (size.empty())
        return OXEL_SUCCESS;
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    const auto saved_row = HeapArray<Pixel>::uninitialised(width);
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
    const auto pixels = reinterpret_cast<Pixel *>(data);
    if (mode == TFT_PAIR_SWAP) {
        swap_pairs(pixels, size);
        return OXEL_SUCCESS;
    }

    const std::int32_t doubled = merges(mode) ? size.width : size.height;
    if (doubled > INT32_MAX / 2)
        return OXEL_BAD_ARGUMENT;
    if (const auto failure = resize(pixels, size, mode))
        return failure;
    *width = merges(mode) ? 2 * size.width : size.width / 2;
    *height = merges(mode) ? size.height / 2 : 2 * size.height;
    return OXEL_SUCCESS;
}
