#ifndef OXEL_RENDER_PIPELINE_H
#define OXEL_RENDER_PIPELINE_H

#include "destination.h"
#include "image_size.h"

#include <cstdint>
#include <span>

// The steps that the render entries share: check, diffuse, write the outputs.
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
};

/// Whether an output of an image of this size can be written: OXEL_SUCCESS, OXEL_BAD_SELECTOR or
/// OXEL_NOT_SIX_COLOURS.
std::int32_t output_status(const Output &output, ImageSize size);

/// What a render finds out before it takes memory: the first failure, or OXEL_SUCCESS. An output
/// that cannot be written needs neither a buffer nor a table.
std::int32_t check_render(const Input &input, std::uint32_t dithering_mode,
                          std::span<const Output> outputs);

/// Diffuses a non-empty input that has been checked, moved down by `rows_down` rows (0 or 1) under
/// rows of zero bytes. Returns OXEL_SUCCESS, or OXEL_OUT_OF_MEMORY with the destination untouched.
std::int32_t diffuse_input(const Input &input, std::uint32_t dithering_mode, std::int32_t rows_down,
                           const Destination &destination);

/// Those of at most three checked outputs that can be written, in their order.
Destination images_of(std::span<const Output> outputs, ImageSize size);

/// Checks a render and makes of its outputs those that can be written. Returns the first failure,
/// with all outputs untouched, or OXEL_SUCCESS.
std::int32_t render(const Input &input, std::uint32_t dithering_mode,
                    std::span<const Output> outputs);

} // namespace oxel

#endif
