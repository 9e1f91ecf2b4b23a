#include "portable.h"

#include "forms.h"

#include "../colour_cell.h"
#include "../diffusion_kernel.h"
#include "../numeric_helpers.h"
#include "../quantisation.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// The errors on their way to the row being scanned and to the rows below it, as far down as the
/// kernel reaches. At either end of a row stand margin cells that catch what leaves the image.
template <const DiffusionKernel &kernel>
class ErrorRows {
  public:
    static constexpr std::size_t length(std::size_t width) {
        return 3 * (width + 2 * kernel.reach);
    }

    /// `zeros` are kernel.rows * length(width) zeros.
    ErrorRows(std::size_t width, std::int16_t *zeros) : row_length_(length(width)) {
        for (int row = 0; row < kernel.rows; ++row)
            rows_[row] = zeros + static_cast<std::size_t>(row) * row_length_;
    }

    /// The three slots of pixel 0, `row` rows below the one being scanned.
    std::int16_t *pixels(int row) const { return rows_[row] + 3 * kernel.reach; }

    /// Goes on to the next image row: every row moves up by one, an empty one comes in below.
    void advance() {
        std::rotate(rows_, rows_ + 1, rows_ + kernel.rows);
        std::fill_n(rows_[kernel.rows - 1], row_length_, std::int16_t{0});
    }

  private:
    std::size_t row_length_;
    std::int16_t *rows_[kernel.rows] = {};
};

/// Adds a row of the picture, mapped, to the values of its pixels.
void add_row(const PixelRows &picture, std::int32_t row, std::int16_t *values) {
    const std::size_t bytes = 3 * static_cast<std::size_t>(picture.width);
    const bool blank = row < picture.blank_rows;
    const std::uint8_t *pixels =
        blank ? nullptr
              : picture.pixels + static_cast<std::size_t>(row - picture.blank_rows) * bytes;
    const std::size_t red = picture.byte_order == ORDER_RGB ? 0 : 2;
    const std::size_t blue = 2 - red;
    const auto add = [&](std::size_t i, std::uint8_t channel) {
        values[i] = static_cast<std::int16_t>(values[i] + channel);
    };
    for (std::size_t i = 0; i < bytes; i += 3) {
        const std::uint8_t r = blank ? 0 : pixels[i + red];
        const std::uint8_t g = blank ? 0 : pixels[i + 1];
        const std::uint8_t b = blank ? 0 : pixels[i + blue];
        const std::uint8_t own[] = {r, g, b};
        const std::uint8_t *colour = picture.gamut ? picture.gamut + 3 * colour_cell(r, g, b) : own;
        add(i + red, colour[0]);
        add(i + 1, colour[1]);
        add(i + blue, colour[2]);
    }
}

/// Adds the share of each slot's error to one neighbour, at its place in the kernel's weights.
template <const DiffusionKernel &kernel, int row, int column>
void spread(const int (&error)[3], std::int16_t *neighbour) {
    if constexpr (kernel.weights[row][column] != 0)
        for (int slot = 0; slot < 3; ++slot)
            neighbour[slot] =
                static_cast<std::int16_t>(neighbour[slot] + kernel.share(row, column, error[slot]));
}

template <const DiffusionKernel &kernel, int direction, int row, int... column>
void spread_row(const int (&error)[3], std::int16_t *pixel, std::integer_sequence<int, column...>) {
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
        const int error[] = {pixel.error[0], pixel.error[1], pixel.error[2]};
        spread_row<kernel, direction, 0>(error, errors.pixels(0) + 3 * x, columns);
        spread_row<kernel, direction, 1>(error, errors.pixels(1) + 3 * x, columns);
        if constexpr (kernel.rows > 2)
            spread_row<kernel, direction, 2>(error, errors.pixels(2) + 3 * x, columns);
    }
}

template <const DiffusionKernel &kernel, std::uint32_t rgb_order>
void diffuse_rows(const DiffusionJob &job, void *memory) {
    const std::int32_t width = job.picture.width;
    const auto row_pixels = static_cast<std::size_t>(width);
    auto *const values = static_cast<std::int16_t *>(memory);
    ErrorRows<kernel> errors(row_pixels, values);
    auto *const indices =
        reinterpret_cast<std::uint8_t *>(values + kernel.rows * errors.length(row_pixels));
    const QuantisationTables tables{job.cells, job.palette};
    for (std::int32_t y = 0; y < job.picture.height; ++y) {
        add_row(job.picture, y, errors.pixels(0));
        if (job.serpentine && y % 2 != 0)
            scan_row<kernel, -1, rgb_order>(errors, tables, indices, width);
        else
            scan_row<kernel, 1, rgb_order>(errors, tables, indices, width);
        errors.advance();
        deliver(*job.destination, y, 0, indices, width);
    }
}

} // namespace

namespace portable {

std::uint64_t diffusion_memory(const DiffusionJob &job) {
    const auto width = static_cast<std::uint64_t>(job.picture.width);
    return 3 * 3 * (width + 2 * stucki.reach) * sizeof(std::int16_t) + width;
}

void diffuse(const DiffusionJob &job, void *memory) {
    with_kernel(job.kernel, [&]<const DiffusionKernel & kernel>() {
        if (job.picture.byte_order == ORDER_RGB)
            diffuse_rows<kernel, ORDER_RGB>(job, memory);
        else
            diffuse_rows<kernel, ORDER_BGR>(job, memory);
    });
}

/// Four bytes move faster than three. The fourth falls on the next pixel, which is written after
/// it; behind the last pixel there may be no memory.
void write_pixels(const std::uint8_t *indices, std::size_t count, const ColourTable &colours,
                  std::uint8_t *pixels) {
    for (std::size_t i = 0; i + 1 < count; ++i)
        std::memcpy(pixels + 3 * i, colours.bytes[indices[i]], 4);
    if (count > 0)
        std::memcpy(pixels + 3 * (count - 1), colours.bytes[indices[count - 1]], 3);
}

/// Four sets of counters, as equal neighbours would each wait for the count before.
void count_indices(const std::uint8_t *indices, std::size_t count, int /*colours*/,
                   std::int32_t *counts) {
    std::int32_t sets[4][256] = {};
    for (std::size_t i = 0; i < count; ++i)
        ++sets[i % 4][indices[i]];
    for (int index = 0; index < 256; ++index)
        for (const auto &set : sets)
            counts[index] += set[index];
}

void power(double *numbers, std::size_t count, double exponent) {
    for (std::size_t i = 0; i < count; ++i)
        numbers[i] = my_pow(numbers[i], exponent);
}

// All but the last pixels move as four bytes, as in write_pixels.

void merge_rows(const std::uint8_t *first, const std::uint8_t *second, std::size_t count,
                std::uint8_t *pairs) {
    std::uint8_t pixels[2][4];
    for (; count > 1; --count, first += 3, second += 3, pairs += 6) {
        std::memcpy(pixels[0], first, 4);
        std::memcpy(pixels[1], second, 4);
        std::memcpy(pairs, pixels[0], 4);
        std::memcpy(pairs + 3, pixels[1], 4);
    }
    if (count > 0) {
        std::memcpy(pixels[0], first, 3);
        std::memcpy(pixels[1], second, 3);
        std::memcpy(pairs, pixels[0], 3);
        std::memcpy(pairs + 3, pixels[1], 3);
    }
}

void split_row(const std::uint8_t *pairs, std::size_t count, std::uint8_t *first,
               std::uint8_t *second) {
    for (; count > 1; --count, first += 3, second += 3, pairs += 6) {
        std::memcpy(first, pairs, 4);
        std::memcpy(second, pairs + 3, 4);
    }
    if (count > 0) {
        std::memcpy(first, pairs, 3);
        std::memcpy(second, pairs + 3, 3);
    }
}

/// Eight bytes at a time ("slicing by 8", Kounavis and Berry, 2005).
std::uint32_t crc32(std::uint32_t crc, const std::uint8_t *bytes, std::size_t count,
                    const CrcTables &tables) {
    for (; count >= crc_slices; bytes += crc_slices, count -= crc_slices) {
        std::uint32_t next = 0;
        for (std::size_t i = 0; i < crc_slices; ++i) {
            const std::uint32_t crc_byte = i < 4 ? crc >> 8 * i & 0xFF : 0;
            next ^= tables[crc_slices - 1 - i][bytes[i] ^ crc_byte];
        }
        crc = next;
    }
    for (; count > 0; ++bytes, --count)
        crc = tables[0][(crc ^ *bytes) & 0xFF] ^ crc >> 8;
    return crc;
}

} // namespace portable

constinit const Form portable_form = {.name = "portable", .runs_here = [] { return true; }};

} // namespace oxel
