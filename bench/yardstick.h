#ifndef OXEL_BENCH_YARDSTICK_H
#define OXEL_BENCH_YARDSTICK_H

#include <cstddef>
#include <cstdint>

// What the library does, written down as plainly as a careful programmer would at first, one loop
// after the other over the whole image: what its speed is measured by. All images are R, G, B, and
// nothing is checked.
namespace yardstick {

struct Package {
    const std::uint8_t *palette;
    const std::uint8_t *tcon;
    const std::uint8_t *gamut;
    const std::uint8_t *cells;
    int colours;
};

void map_gamut(const Package &package, const std::uint8_t *input, int width, int height,
               std::uint8_t *mapped);
void dither(const Package &package, const std::uint8_t *mapped, int width, int height, int mode,
            std::uint8_t *indices);
/// The TCON output.
void render(const Package &package, const std::uint8_t *input, int width, int height, int mode,
            std::uint8_t *output);
double measure(const Package &package, const std::uint8_t *indices, int width, int height);
void adjust(const std::uint8_t *input, int width, int height, int hue, int saturation,
            int brightness, int contrast, double gamma, std::uint8_t *output);
std::uint32_t crc32(const std::uint8_t *bytes, std::size_t count);

} // namespace yardstick

#endif
