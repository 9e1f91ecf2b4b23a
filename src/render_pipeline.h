#ifndef OXEL_RENDER_PIPELINE_H
#define OXEL_RENDER_PIPELINE_H

#include "heap_array.h"
#include "image_size.h"

#include <cstddef>
#include <cstdint>

// The steps that the render entries share: check, gamut-map and dither, write a form of output.
namespace [[gnu::visibility("hidden")]] oxel {

struct Input {
    const std::uint8_t *pixels;
    std::uint32_t byte_order;
    ImageSize size;
};

struct Output {
    std::uint8_t *pixels;
    std::uint32_t byte_order;
    std::int32_t type;

    /// Whether this form can be written: OXEL_SUCCESS, OXEL_BAD_SELECTOR or OXEL_NOT_SIX_COLOURS.
    std::int32_t status() const;
};

/// What a render finds out before it takes memory: the first failure, or OXEL_SUCCESS. An output
/// that cannot be written needs neither a buffer nor a table.
std::int32_t check_render(const Input &input, std::uint32_t dithering_mode, const Output *outputs,
                          std::size_t output_count);

/// Renders an input that has been checked to an index plane, and that to outputs.
class Rendering {
  public:
    explicit Rendering(const Input &input);

    /// Gamut-maps and dithers the input, moved down by `rows_down` rows (0 or 1) under rows of
    /// zero bytes. Returns OXEL_SUCCESS or OXEL_OUT_OF_MEMORY.
    std::int32_t dither(std::uint32_t dithering_mode, std::int32_t rows_down = 0);

    /// Makes palette index 0 of every pixel.
    void blank();

    const std::uint8_t *index_plane() const { return index_plane_.get(); }

    /// Writes the output, or returns why its form cannot be written.
    std::int32_t write(const Output &output) const;

  private:
    Input input_;
    HeapArray<std::uint8_t> working_copy_;
    HeapArray<std::uint8_t> index_plane_;
};

} // namespace oxel

#endif
