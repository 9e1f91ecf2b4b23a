// What a rendering looks like at the size that a screen has for it.
#include "preparation/light.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

using namespace oxel::tools;

namespace {

/// The means of a row of 3 channels a pixel, by area, in light.
void reduce_row(const std::uint8_t *row, std::uint32_t width,
                const std::array<std::uint16_t, 256> &lights, std::uint32_t columns, float *means) {
    // A pixel is `columns` wide and a column `width`, so that all borders are integers.
    std::uint32_t sums[3] = {};
    std::uint32_t filled = 0;
    for (std::uint32_t x = 0; x < width; ++x, row += 3) {
        const std::uint32_t part = std::min(columns, width - filled);
        for (int c = 0; c < 3; ++c)
            sums[c] += part * lights[row[c]];
        filled += part;
        if (filled < width)
            continue;
        filled = columns - part;
        for (int c = 0; c < 3; ++c) {
            *means++ = static_cast<float>(sums[c]) / static_cast<float>(width);
            sums[c] = filled * lights[row[c]];
        }
    }
}

} // namespace

extern "C" {

/// Reduces a rendering of 3 bytes a pixel to at most as many columns and rows, as an eye does from
/// afar: by the mean light. Writes 4 bytes a pixel.
void oxel_reduce(const std::uint8_t *rgb, std::uint32_t width, std::uint32_t height,
                 std::uint32_t columns, std::uint32_t rows, std::uint8_t *rgba) {
    std::array<std::uint16_t, 256> lights{};
    for (std::size_t byte = 0; byte < 256; ++byte)
        lights[byte] = light_of_byte(static_cast<std::uint8_t>(byte));
    const std::size_t samples = std::size_t{3} * columns;
    std::vector<float> means(samples);
    std::vector<float> sums(samples);
    std::vector<std::uint16_t> light(samples);
    std::vector<std::uint8_t> bytes(samples);
    std::uint32_t filled = 0;
    for (std::uint32_t y = 0; y < height; ++y, rgb += std::size_t{3} * width) {
        reduce_row(rgb, width, lights, columns, means.data());
        const std::uint32_t part = std::min(rows, height - filled);
        for (std::size_t i = 0; i < samples; ++i)
            sums[i] += static_cast<float>(part) * means[i];
        filled += part;
        if (filled < height)
            continue;
        filled = rows - part;
        for (std::size_t i = 0; i < samples; ++i) {
            light[i] = static_cast<std::uint16_t>(sums[i] / static_cast<float>(height) + 0.5F);
            sums[i] = static_cast<float>(filled) * means[i];
        }
        bytes_of_light(light, bytes);
        for (std::size_t i = 0; i < samples; i += 3, rgba += 4) {
            const std::uint8_t pixel[] = {bytes[i], bytes[i + 1], bytes[i + 2], 255};
            std::copy_n(pixel, sizeof pixel, rgba);
        }
    }
}
}
