#ifndef OXEL_QUANTISATION_H
#define OXEL_QUANTISATION_H

#include "Oxel_Morvel6_render.h"
#include "colour_cell.h"

#include <cstdint>

namespace [[gnu::visibility("hidden")]] oxel {

struct QuantisationTables {
    const std::uint8_t *cells;   // palette index of each colour cell
    const std::uint8_t *palette; // 3 bytes R, G, B an index
};

struct QuantisedPixel {
    std::uint8_t index;
    std::int16_t error[3]; // -255 to 255, in the slots of the value
};

/// Chooses the palette index of an accumulated pixel value, three slots in the byte order that
/// `rgb_order` names, and tells how far that entry lies from the value. The value is clamped to
/// 0 to 255 first, so what it had beyond is lost: that bounds every error.
inline QuantisedPixel quantise_pixel(const std::int16_t value[3], std::uint32_t rgb_order,
                                     const QuantisationTables &tables) {
    const auto clamp = [](int channel) { return channel < 0 ? 0 : channel > 255 ? 255 : channel; };
    const int clamped[3] = {clamp(value[0]), clamp(value[1]), clamp(value[2])};
    const int red = rgb_order == ORDER_RGB ? 0 : 2;
    const int blue = 2 - red;

    const std::uint32_t cell = colour_cell(static_cast<std::uint32_t>(clamped[red]),
                                           static_cast<std::uint32_t>(clamped[1]),
                                           static_cast<std::uint32_t>(clamped[blue]));
    QuantisedPixel pixel{};
    pixel.index = tables.cells[cell];
    const std::uint8_t *colour = tables.palette + 3 * pixel.index;
    pixel.error[red] = static_cast<std::int16_t>(clamped[red] - colour[0]);
    pixel.error[1] = static_cast<std::int16_t>(clamped[1] - colour[1]);
    pixel.error[blue] = static_cast<std::int16_t>(clamped[blue] - colour[2]);
    return pixel;
}

} // namespace oxel

#endif
