#ifndef OXEL_RENDER_PIPELINE_H
#define OXEL_RENDER_PIPELINE_H

#include "diffusion.h"
#include "forms/forms.h"
#include "image_size.h"

#include <cstddef>
#include <cstdint>

// The steps that the render entries share: check, describe the diffusion, write forms of output.
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

/// What to diffuse of a non-empty input that has been checked, moved down by `rows_down` rows (0 or
/// 1) under rows of zero bytes.
DiffusionJob render_job(const Input &input, std::uint32_t dithering_mode, IndexSink &sink,
                        std::int32_t rows_down = 0);

/// Writes up to three outputs that have been checked, those of them that can be written, in this
/// order.
class OutputWriter : public IndexSink {
  public:
    OutputWriter(const Output *outputs, std::size_t count, std::int32_t width);

    /// Writes one output after the other.
    void write_image(const std::uint8_t *index_plane, ImageSize size);

  private:
    static void write(IndexSink &self, std::int32_t row, std::int32_t column,
                      const std::uint8_t *indices, std::int32_t count);
    static void set_colour(std::uint8_t (&pixel)[4], std::size_t index, const Output &output);

    std::int32_t width_;
    std::size_t count_ = 0;
    std::uint8_t *images_[3];
    ColourTable colours_[3];
};

} // namespace oxel

#endif
