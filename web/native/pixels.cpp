// Between pictures of 3 bytes a pixel and those of 4 that canvases have.
#include <cstddef>
#include <cstdint>

extern "C" {

/// Transparent parts over white. May run in place.
void oxel_rgb_from_rgba(const std::uint8_t *rgba, std::uint8_t *rgb, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i, rgba += 4, rgb += 3) {
        const unsigned alpha = rgba[3];
        for (int channel = 0; channel < 3; ++channel)
            rgb[channel] = alpha == 255
                               ? rgba[channel]
                               : static_cast<std::uint8_t>(
                                     (rgba[channel] * alpha + 255 * (255 - alpha) + 127) / 255);
    }
}

void oxel_rgba_from_rgb(const std::uint8_t *rgb, std::uint8_t *rgba, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i, rgba += 4, rgb += 3) {
        const std::uint8_t pixel[] = {rgb[0], rgb[1], rgb[2], 255};
        __builtin_memcpy(rgba, pixel, sizeof pixel);
    }
}
}
