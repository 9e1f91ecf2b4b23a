#ifndef OXEL_DIFFUSION_H
#define OXEL_DIFFUSION_H

#include "destination.h"

#include <cstdint>

// What every form of the diffusion, plain or for an instruction set, takes. There are no function
// bodies here: a form's source would compile them for its instruction set, and the linker might
// choose that copy for everybody.
namespace [[gnu::visibility("hidden")]] oxel {

/// A picture as the diffusion reads it, row by row, each row once.
struct PixelRows {
    const std::uint8_t *pixels; // 3 bytes each
    std::uint32_t byte_order;
    std::int32_t width; // at least 1, as is the height
    std::int32_t height;
    std::int32_t blank_rows;   // rows of zero bytes above the pixels, which are that many fewer
    const std::uint8_t *gamut; // table to map the pixels through; null if they are mapped already
};

/// In the order of enum Oxel_dithering_mode, which has two of each: plain and serpentine.
enum class Kernel { floyd_steinberg, jarvis_judice_ninke, stucki };
constexpr std::uint32_t dithering_modes = 2 * (static_cast<std::uint32_t>(Kernel::stucki) + 1);

struct DiffusionJob {
    PixelRows picture;
    Kernel kernel;
    bool serpentine;
    const std::uint8_t *cells;   // palette index of each colour cell
    const std::uint8_t *palette; // 3 bytes R, G, B an index
    int colours;                 // entries of the palette that the cells address
    const Destination *destination;
};

} // namespace oxel

#endif
