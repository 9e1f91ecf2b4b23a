#include "render_pipeline.h"

#include "Oxel_Morvel6_render.h"
#include "dithering.h"
#include "heap_bytes.h"
#include "library_state.h"

#include <algorithm>
#include <cstddef>

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

constexpr std::uint8_t NOMINAL_RGB_color[18] = {0,   0, 0, 255, 255, 255, 255, 255, 0,
                                                255, 0, 0, 0,   255, 0,   0,   0,   255};
constexpr std::uint8_t NOMINAL_BGR_color[18] = {0, 0, 0,   255, 255, 255, 0,   255, 255,
                                                0, 0, 255, 0,   255, 0,   255, 0,   0};
constexpr int nominal_colours = 6;

void set_colour(std::uint8_t (&pixel)[4], std::size_t index, const Output &output) {
    const bool rgb = output.byte_order == ORDER_RGB;
    const std::uint8_t *colour = EO_RGB_color + 3 * index;
    switch (output.type) {
    case OUTPUT_TCON_CODE:
        std::fill_n(pixel, 3, TCON_INDEX_TABLE[index]);
        break;
    case OUTPUT_NOMINAL_RGB:
        std::copy_n((rgb ? NOMINAL_RGB_color : NOMINAL_BGR_color) + 3 * index, 3, pixel);
        break;
    default:
        pixel[rgb ? 0 : 2] = colour[0];
        pixel[1] = colour[1];
        pixel[rgb ? 2 : 0] = colour[2];
    }
}

/// Whether images of one size share some of their bytes, not all.
bool overlap_partly(const std::uint8_t *image, const std::uint8_t *other, ImageSize size) {
    const auto a = reinterpret_cast<std::uintptr_t>(image);
    const auto b = reinterpret_cast<std::uintptr_t>(other);
    return a != b && (a < b ? b - a : a - b) < 3 * size.pixels();
}

/// Whether images can be written piece by piece while the input is being read: no piece falls on
/// input that is still to be read, or on another piece of a later image.
bool can_stream(const Input &input, const Destination &images) {
    for (int i = 0; i < images.image_count; ++i) {
        const std::uint8_t *image = images.images[i].pixels;
        if (overlap_partly(image, input.pixels, input.size))
            return false;
        for (int k = 0; k < i; ++k)
            if (overlap_partly(image, images.images[k].pixels, input.size))
                return false;
    }
    return true;
}

} // namespace

std::int32_t output_status(const Output &output, ImageSize size) {
    switch (output.type) {
    case OUTPUT_TCON_CODE:
        return OXEL_SUCCESS;
    case OUTPUT_NOMINAL_RGB:
        if (COLOR_NUMBER != nominal_colours)
            return OXEL_NOT_SIX_COLOURS;
        [[fallthrough]];
    case OUTPUT_EO_RGB:
        return output.byte_order > ORDER_BGR && !size.empty() ? OXEL_BAD_SELECTOR : OXEL_SUCCESS;
    default:
        return OXEL_BAD_SELECTOR;
    }
}

std::int32_t check_render(const Input &input, std::uint32_t dithering_mode,
                          std::span<const Output> outputs) {
    if (!isInital)
        return OXEL_NOT_INITIALISED;
    if (dithering_mode >= dithering_modes)
        return OXEL_BAD_SELECTOR;
    if (input.size.empty())
        return OXEL_SUCCESS;
    if (input.byte_order > ORDER_BGR)
        return OXEL_BAD_SELECTOR;
    if (!input.size.supported() || !input.pixels)
        return OXEL_BAD_ARGUMENT;
    bool usable = tables_usable;
    for (const Output &output : outputs) {
        if (output_status(output, input.size) != OXEL_SUCCESS)
            continue;
        if (!output.pixels)
            return OXEL_BAD_ARGUMENT;
        if (output.type == OUTPUT_NOMINAL_RGB && largest_index >= nominal_colours)
            usable = false;
    }
    return usable ? OXEL_SUCCESS : OXEL_UNUSABLE_TABLES;
}

std::int32_t diffuse_input(const Input &input, std::uint32_t dithering_mode, std::int32_t rows_down,
                           const Destination &destination) {
    const auto [width, height] = input.size;
    return diffuse_picture({input.pixels, input.byte_order, width, height, rows_down, GLUT},
                           dithering_mode, destination);
}

Destination images_of(std::span<const Output> outputs, ImageSize size) {
    Destination destination{.width = size.width};
    for (const Output &output : outputs) {
        if (output_status(output, size) != OXEL_SUCCESS)
            continue;
        ColouredImage &image = destination.images[destination.image_count++];
        image.pixels = output.pixels;
        image.colours.count = largest_index + 1;
        for (std::size_t index = 0; index <= largest_index; ++index)
            set_colour(image.colours.bytes[index], index, output);
    }
    return destination;
}

std::int32_t render(const Input &input, std::uint32_t dithering_mode,
                    std::span<const Output> outputs) {
    if (const auto refusal = check_render(input, dithering_mode, outputs))
        return refusal;
    if (input.size.empty())
        return OXEL_SUCCESS;
    const Destination images = images_of(outputs, input.size);
    if (can_stream(input, images))
        return diffuse_input(input, dithering_mode, 0, images);

    const auto indices = HeapBytes::uninitialised(input.size.pixels());
    if (!indices)
        return OXEL_OUT_OF_MEMORY;
    const Destination plane{.width = input.size.width, .plane = indices.get()};
    if (const auto failure = diffuse_input(input, dithering_mode, 0, plane))
        return failure;
    deliver(images, 0, 0, indices.get(), static_cast<std::int32_t>(input.size.pixels()));
    return OXEL_SUCCESS;
}

} // namespace oxel
