#ifndef OXEL_DIFFUSION_H
#define OXEL_DIFFUSION_H

#include <cstddef>
#include <cstdint>

// What every form of the diffusion, plain or for an instruction set, takes and gives. No functions
// here: code that is compiled for an instruction set must not leave copies for other code to use.
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

/// Takes the palette indices of the picture, piece by piece. Whatever pixels belong to a piece have
/// been read by then, as have all those left of them and above. No virtual function, which would
/// make a host link the C++ runtime.
struct IndexSink {
    void (*take)(IndexSink &self, std::int32_t row, std::int32_t column,
                 const std::uint8_t *indices, std::int32_t count);
};

enum class Kernel { floyd_steinberg, jarvis_judice_ninke, stucki };

struct DiffusionJob {
    PixelRows picture;
    Kernel kernel;
    bool serpentine;
    const std::uint8_t *cells;   // palette index of each colour cell
    const std::uint8_t *palette; // 3 bytes R, G, B an index
    int colours;                 // entries of the palette that the cells address
    IndexSink *sink;
};

} // namespace oxel

#endif
