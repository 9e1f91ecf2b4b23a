#include "dithering.h"

#include "diffusion_kernel.h"
#include "heap_array.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// The errors on their way to the row being scanned and to the rows below it, as far down as the
/// kernel reaches. At either end of a row stand margin cells that catch what leaves the image.
template <const DiffusionKernel &kernel>
class ErrorRows {
  public:
    explicit ErrorRows(std::size_t width)
        : row_length_(3 * (width + 2 * kernel.reach)),
          memory_(HeapArray<std::int16_t>::zeroed(kernel.rows * row_length_)) {
        if (memory_)
            for (int row = 0; row < kernel.rows; ++row)
                rows_[row] = memory_.get() + static_cast<std::size_t>(row) * row_length_;
    }

    explicit operator bool() const { return static_cast<bool>(memory_); }

    /// The three slots of pixel 0, `row` rows below the one being scanned.
    std::int16_t *pixels(int row) const { return rows_[row] + 3 * kernel.reach; }

    /// Goes on to the next image row: every row moves up by one, an empty one comes in below.
    void advance() {
        std::rotate(rows_, rows_ + 1, rows_ + kernel.rows);
        std::fill_n(rows_[kernel.rows - 1], row_length_, std::int16_t{0});
    }

  private:
    std::size_t row_length_;
    HeapArray<std::int16_t> memory_;
    std::int16_t *rows_[kernel.rows] = {};
};

/// Adds the share of each slot's error to one neighbour, at its place in the kernel's weights.
template <const DiffusionKernel &kernel, int row, int column>
void spread(const std::int16_t (&error)[3], std::int16_t *neighbour) {
    if constexpr (kernel.weights[row][column] != 0)
        for (int slot = 0; slot < 3; ++slot)
            neighbour[slot] =
                static_cast<std::int16_t>(neighbour[slot] + kernel.share(row, column, error[slot]));
}

template <const DiffusionKernel &kernel, int direction, int row, int... column>
void spread_row(const std::int16_t (&error)[3], std::int16_t *pixel,
                std::integer_sequence<int, column...>) {
    (spread<kernel, row, column>(error, pixel + 3 * direction * (column - kernel.centre)), ...);
}

/// Quantises one image row, already added to the current error row, in the order of `direction`
/// (1 or -1).
template <const DiffusionKernel &kernel, int direction, std::uint32_t rgb_order>
void scan_row(const ErrorRows<kernel> &errors, const QuantisationTables &tables,
              std::uint8_t *indices, std::ptrdiff_t width) {
    constexpr std::make_integer_sequence<int, DiffusionKernel::columns> columns;
    const std::ptrdiff_t first = direction > 0 ? 0 : width - 1;
    for (std::ptrdiff_t step = 0; step < width; ++step) {
        const std::ptrdiff_t x = first + direction * step;
        const QuantisedPixel pixel = quantise_pixel(errors.pixels(0) + 3 * x, rgb_order, tables);
        indices[x] = pixel.index;
        spread_row<kernel, direction, 0>(pixel.error, errors.pixels(0) + 3 * x, columns);
        spread_row<kernel, direction, 1>(pixel.error, errors.pixels(1) + 3 * x, columns);
        if constexpr (kernel.rows > 2)
            spread_row<kernel, direction, 2>(pixel.error, errors.pixels(2) + 3 * x, columns);
    }
}

template <const DiffusionKernel &kernel, std::uint32_t rgb_order>
std::int32_t diffuse(const std::uint8_t *working_copy, std::uint8_t *index_plane,
                     std::uint32_t unsigned_width, std::int32_t height, bool serpentine) {
    const auto width = static_cast<std::int32_t>(unsigned_width);
    if (width <= 0 || height <= 0)
        return OXEL_SUCCESS;
    const auto row_pixels = static_cast<std::size_t>(width);
    ErrorRows<kernel> errors(row_pixels);
    if (!errors)
        return OXEL_OUT_OF_MEMORY;

    const QuantisationTables tables;
    for (std::int32_t y = 0; y < height; ++y) {
        std::int16_t *values = errors.pixels(0);
        for (std::size_t i = 0; i < 3 * row_pixels; ++i)
            values[i] = static_cast<std::int16_t>(values[i] + working_copy[i]);
        if (serpentine && y % 2 != 0)
            scan_row<kernel, -1, rgb_order>(errors, tables, index_plane, width);
        else
            scan_row<kernel, 1, rgb_order>(errors, tables, index_plane, width);
        errors.advance();
        working_copy += 3 * row_pixels;
        index_plane += row_pixels;
    }
    return OXEL_SUCCESS;
}

template <const DiffusionKernel &kernel>
std::int32_t dither(const std::uint8_t *working_copy, std::uint32_t rgb_order,
                    std::uint8_t *index_plane, std::uint32_t width, std::int32_t height,
                    std::uint8_t serpentine) {
    const auto routine =
        rgb_order == ORDER_RGB ? diffuse<kernel, ORDER_RGB> : diffuse<kernel, ORDER_BGR>;
    return routine(working_copy, index_plane, width, height, serpentine != 0);
}

} // namespace

std::int32_t Oxel_dithering_Floyd(const std::uint8_t *working_copy, std::uint32_t rgb_order,
                                  std::uint8_t *index_plane, std::uint32_t width,
                                  std::int32_t height, std::uint8_t serpentine) {
    return dither<floyd_steinberg>(working_copy, rgb_order, index_plane, width, height, serpentine);
}

std::int32_t Oxel_dithering_Jarvis_Judice_Ninkle(const std::uint8_t *working_copy,
                                                 std::uint32_t rgb_order, std::uint8_t *index_plane,
                                                 std::uint32_t width, std::int32_t height,
                                                 std::uint8_t serpentine) {
    return dither<jarvis_judice_ninke>(working_copy, rgb_order, index_plane, width, height,
                                       serpentine);
}

std::int32_t Oxel_dithering_Stucki(const std::uint8_t *working_copy, std::uint32_t rgb_order,
                                   std::uint8_t *index_plane, std::uint32_t width,
                                   std::int32_t height, std::uint8_t serpentine) {
    return dither<stucki>(working_copy, rgb_order, index_plane, width, height, serpentine);
}

} // namespace oxel
