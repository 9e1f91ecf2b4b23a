#ifndef OXEL_COLOUR_CELL_H
#define OXEL_COLOUR_CELL_H

#include <cstdint>

namespace [[gnu::visibility("hidden")]] oxel {

/// The cell of a colour in the gamut and quantisation tables, which drop two bits of each channel.
/// R is slowest, B fastest.
[[gnu::always_inline]] inline std::uint32_t colour_cell(std::uint32_t r, std::uint32_t g,
                                                        std::uint32_t b) {
    return (r >> 2) << 12 | (g >> 2) << 6 | b >> 2;
}

} // namespace oxel

#endif
