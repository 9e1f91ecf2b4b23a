#include "Oxel_Morvel6_render.h"
#include "heap_array.h"
#include "image_size.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

struct Pixel {
    std::uint8_t bytes[3];
};
static_assert(sizeof(Pixel) == 3 && alignof(Pixel) == 1);

/// Makes a pixel pair of one pixel of each row, moving `size` bytes of each: 3, or 4 where a byte
/// behind both may be read and one behind the pair overwritten, which is faster.
template <std::size_t size>
void merge_pixels(const Pixel *upper, const Pixel *lower, bool lower_first, Pixel *pair) {
    std::uint8_t pixels[2][size];
    std::memcpy(pixels[lower_first ? 1 : 0], upper, size);
    std::memcpy(pixels[lower_first ? 0 : 1], lower, size);
    std::memcpy(pair, pixels[0], size);
    std::memcpy(pair + 1, pixels[1], size);
}

/// Interleaves each pair of rows into one row of twice the width. A result row covers just the
/// bytes of its pair and is written from the left, never past the lower row's next pixel: only
/// the upper row has to be saved.
template <bool lower_first>
void merge_pairs(Pixel *rows, std::size_t width, std::size_t height, Pixel *upper) {
    for (std::size_t pair = 0; pair < height / 2; ++pair, rows += 2 * width) {
        std::copy_n(rows, width, upper);
        const Pixel *const lower = rows + width;
        const std::size_t last = width - 1;
        for (std::size_t x = 0; x < last; ++x)
            merge_pixels<4>(upper + x, lower + x, lower_first, rows + 2 * x);
        merge_pixels<3>(upper + last, lower + last, lower_first, rows + 2 * last);
    }
}

void swap_pairs(Pixel *rows, ImageSize size) {
    constexpr std::size_t block = 1024; // pixels
    const auto width = static_cast<std::size_t>(size.width);
    for (std::int32_t pair = 0; pair < size.height / 2; ++pair, rows += 2 * width)
        for (std::size_t x = 0; x < width; x += block) {
            Pixel upper[block];
            const std::size_t count = std::min(block, width - x);
            std::copy_n(rows + x, count, upper);
            std::copy_n(rows + width + x, count, rows + x);
            std::copy_n(upper, count, rows + width + x);
        }
}

/// `count` is at least 1. All but the last pixel are moved as four bytes, which is faster.
void take_every_second(const Pixel *from, std::size_t count, Pixel *to) {
    for (std::size_t i = 0; i + 1 < count; ++i)
        std::memcpy(to + i, from + 2 * i, 4);
    to[count - 1] = from[2 * (count - 1)];
}

/// Splits each row into two rows of half the width. The result is never longer than what has been
/// read, so one saved row is enough.
void split_rows(Pixel *rows, std::size_t width, std::size_t height, bool even_first, Pixel *saved) {
    const std::size_t half = width / 2;
    if (half == 0)
        return;
    Pixel *result = rows;
    for (std::size_t row = 0; row < height; ++row, rows += width, result += 2 * half) {
        std::copy_n(rows, width, saved);
        take_every_second(saved + (even_first ? 1 : 0), half, result);
        take_every_second(saved + (even_first ? 0 : 1), half, result + half);
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
        (mode == TFT_PAIR_MERGE_LOWER_FIRST
             ? merge_pairs<true>
             : merge_pairs<false>)(pixels, width, height, saved_row.get());
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
