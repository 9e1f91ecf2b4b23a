#include "Oxel_Morvel6_render.h"

#include "dithering.h"
#include "heap_array.h"
#include "library_state.h"
#include "render_pipeline.h"

#include <algorithm>
#include <iterator>

const uint8_t *EO_RGB_color = nullptr;
const uint8_t *TCON_INDEX_TABLE = nullptr;

namespace [[gnu::visibility("hidden")]] oxel {

std::uint8_t isInital = 0;
std::uint16_t COLOR_NUMBER = 0;
const std::uint8_t *GLUT = nullptr;
const std::uint8_t *QLUT = nullptr;
bool tables_usable = false;
std::uint8_t largest_index = 0;

namespace {

// Package.

constexpr std::uint32_t header_size = 28;
constexpr std::uint32_t trailer_size = 4;
constexpr std::uint32_t cell_count = 64 * 64 * 64;

CrcTables table;
bool have_table = false;

void build_crc_table() {
    for (std::uint32_t n = 0; n < 256; ++n) {
        std::uint32_t x = n;
        for (auto &slice : table) {
            for (int bit = 0; bit < 8; ++bit)
                x = x & 1 ? x >> 1 ^ 0xEDB88320U : x >> 1;
            slice[n] = x;
        }
    }
    have_table = true;
}

/// CRC-32 of IEEE 802.3, reflected.
std::uint32_t package_crc(const std::uint8_t *bytes, std::uint32_t count) {
    if (!have_table)
        build_crc_table();
    return ~chosen_form().crc32(0xFFFFFFFFU, bytes, count, table);
}

std::uint8_t largest_of(const std::uint8_t *bytes, std::uint32_t count) {
    std::uint8_t largest = 0;
    for (std::uint32_t i = 0; i < count; ++i)
        largest = std::max(largest, bytes[i]);
    return largest;
}

std::uint32_t read_u16(const std::uint8_t *bytes) {
    return static_cast<std::uint32_t>(bytes[0] | bytes[1] << 8);
}

std::uint32_t read_u32(const std::uint8_t *bytes) {
    return read_u16(bytes) | read_u16(bytes + 2) << 16;
}

/// Finds out what renders may read, so that no render has to.
void judge_tables(const std::uint8_t *package, std::uint32_t package_size) {
    const std::uint32_t end = package_size - trailer_size;
    const auto fits = [&](std::uint32_t offset_field, std::uint32_t size) {
        const std::uint32_t offset = read_u32(package + offset_field);
        return offset >= header_size && offset <= end && size <= end - offset;
    };
    largest_index = 0;
    tables_usable = fits(20, 3 * cell_count) && fits(24, cell_count);
    if (!tables_usable)
        return;
    largest_index = largest_of(QLUT, cell_count);
    const std::uint32_t entries = largest_index + 1U;
    tables_usable = fits(12, 3 * entries) && fits(16, entries);
}

// Pipeline.

constexpr std::uint8_t NOMINAL_RGB_color[18] = {0,   0, 0, 255, 255, 255, 255, 255, 0,
                                                255, 0, 0, 0,   255, 0,   0,   0,   255};
constexpr std::uint8_t NOMINAL_BGR_color[18] = {0, 0, 0,   255, 255, 255, 0,   255, 255,
                                                0, 0, 255, 0,   255, 0,   255, 0,   0};
constexpr int nominal_colours = 6;

constexpr std::uint32_t dithering_modes = 6;

} // namespace

std::int32_t Output::status() const {
    switch (type) {
    case OUTPUT_TCON_CODE:
        return OXEL_SUCCESS;
    case OUTPUT_NOMINAL_RGB:
        if (COLOR_NUMBER != nominal_colours)
            return OXEL_NOT_SIX_COLOURS;
        [[fallthrough]];
    case OUTPUT_EO_RGB:
        return byte_order > ORDER_BGR ? OXEL_BAD_SELECTOR : OXEL_SUCCESS;
    default:
        return OXEL_BAD_SELECTOR;
    }
}

std::int32_t check_render(const Input &input, std::uint32_t dithering_mode, const Output *outputs,
                          std::size_t output_count) {
    if (!isInital)
        return OXEL_NOT_INITIALISED;
    if (dithering_mode >= dithering_modes || input.byte_order > ORDER_BGR)
        return OXEL_BAD_SELECTOR;
    if (input.size.empty())
        return OXEL_SUCCESS;
    if (!input.size.supported() || !input.pixels)
        return OXEL_BAD_ARGUMENT;
    bool usable = tables_usable;
    for (const Output *output = outputs; output != outputs + output_count; ++output) {
        if (output->status() != OXEL_SUCCESS)
            continue;
        if (!output->pixels)
            return OXEL_BAD_ARGUMENT;
        if (output->type == OUTPUT_NOMINAL_RGB && largest_index >= nominal_colours)
            usable = false;
    }
    return usable ? OXEL_SUCCESS : OXEL_UNUSABLE_TABLES;
}

DiffusionJob render_job(const Input &input, std::uint32_t dithering_mode, IndexSink &sink,
                        std::int32_t rows_down) {
    return diffusion_job(
        {input.pixels, input.byte_order, input.size.width, input.size.height, rows_down, GLUT},
        dithering_mode, sink);
}

OutputWriter::OutputWriter(const Output *outputs, std::size_t count, std::int32_t width)
    : IndexSink{write}, width_(width) {
    for (const Output *output = outputs; output != outputs + count; ++output) {
        if (output->status() != OXEL_SUCCESS)
            continue;
        images_[count_] = output->pixels;
        colours_[count_].count = largest_index + 1;
        for (std::size_t index = 0; index <= largest_index; ++index)
            set_colour(colours_[count_].bytes[index], index, *output);
        ++count_;
    }
}

void OutputWriter::set_colour(std::uint8_t (&pixel)[4], std::size_t index, const Output &output) {
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

void OutputWriter::write(IndexSink &self, std::int32_t row, std::int32_t column,
                         const std::uint8_t *indices, std::int32_t count) {
    const auto &writer = static_cast<const OutputWriter &>(self);
    const std::ptrdiff_t start = 3 * (std::ptrdiff_t{row} * writer.width_ + column);
    for (std::size_t i = 0; i < writer.count_; ++i)
        chosen_form().write_pixels(indices, static_cast<std::size_t>(count), writer.colours_[i],
                                   writer.images_[i] + start);
}

void OutputWriter::write_image(const std::uint8_t *index_plane, ImageSize size) {
    write(*this, 0, 0, index_plane, static_cast<std::int32_t>(size.pixels()));
}

namespace {

char updateLogMsg[] = "Version Updates:\n"
                      " v1.0.0 (2024-09-03):\n"
                      "  - Initial release\n"
                      " v1.1.0 (2024-09-05):\n"
                      "  - Fixed HGD3 bug\n"
                      "  - Added version number\n"
                      "  - Added Oxel_get_updateLog function\n"
                      "  - Removed Oxel_get_date function\n"
                      " v1.1.1 (2024-10-01):\n"
                      "  - Fixed gamma correction bug\n"
                      " v1.1.2 (2024-10-15):\n"
                      "  - Improved compatibility with Morvel 6 Rendering Tool\n"
                      " v1.2.0 (2024-11-11):\n"
                      "  - Renamed function Oxel_HGD to Oxel_TFT_format_transfer\n"
                      "  - Added HSD odd/even and HSD even/odd modes to Oxel_TFT_format_transfer\n"
                      " v1.2.1 (2024-11-14):\n"
                      "  - Added support for ARM-OpenWRT platform\n"
                      " v2.0.0 (2025-03-11):\n"
                      "  - Expanded LUT to store more information\n"
                      "  - Supported more colors (8-color, 10-color, 16-color)\n"
                      " v2.1.0 (2025-06-12):\n"
                      "  - Added distance-based LUT minimum distance calculation\n"
                      " v2.1.1 (2025-11-12):\n"
                      "  - Removef the math library\n"
                      " v2.1.2 (2026-01-27):\n"
                      "  - Fixed Stucki Serpentine dithering issue\n"
                      " v2.2.0 (2026-03-03):\n"
                      "  - Added Oxel_Morvel6_render_with_powerGuard funcion.\n"
                      " v2.2.1 (2026-03-10):\n"
                      "  - Fixed some bugs.\n"
                      "\n"
                      "Current Version: v2.2.1\n";

} // namespace

} // namespace oxel

using namespace oxel;

namespace {

/// Whether images of one size share some of their bytes, not all.
bool overlap_partly(const std::uint8_t *image, const std::uint8_t *other, ImageSize size) {
    const auto a = reinterpret_cast<std::uintptr_t>(image);
    const auto b = reinterpret_cast<std::uintptr_t>(other);
    return a != b && (a < b ? b - a : a - b) < 3 * size.pixels();
}

/// Whether outputs can be written piece by piece while the input is being read: no piece falls on
/// input that is still to be read, or on a later output's.
bool can_stream(const Input &input, const Output *outputs, std::size_t output_count) {
    for (std::size_t i = 0; i < output_count; ++i) {
        if (overlap_partly(outputs[i].pixels, input.pixels, input.size))
            return false;
        for (std::size_t k = 0; k < i; ++k)
            if (overlap_partly(outputs[i].pixels, outputs[k].pixels, input.size))
                return false;
    }
    return true;
}

std::int32_t render(const Input &input, std::uint32_t dithering_mode, const Output *outputs,
                    std::size_t output_count) {
    if (input.size.empty())
        return OXEL_SUCCESS;
    OutputWriter writer(outputs, output_count, input.size.width);
    if (can_stream(input, outputs, output_count))
        return diffuse(render_job(input, dithering_mode, writer));

    const auto indices = HeapArray<std::uint8_t>::uninitialised(input.size.pixels());
    if (!indices)
        return OXEL_OUT_OF_MEMORY;
    IndexPlane plane(indices.get(), input.size.width);
    if (const auto failure = diffuse(render_job(input, dithering_mode, plane)))
        return failure;
    writer.write_image(indices.get(), input.size);
    return OXEL_SUCCESS;
}

} // namespace

int32_t Oxel_Morvel6_render_init(const uint8_t *package, uint32_t package_size) noexcept {
    if (!package || package_size < header_size || package_size > INT32_MAX)
        return OXEL_BAD_PACKAGE_LENGTH;
    const std::uint32_t crc_offset = package_size - trailer_size;
    if (read_u32(package + crc_offset) != package_crc(package, crc_offset))
        return OXEL_BAD_PACKAGE_CRC;
    if (read_u32(package + 6) != package_size)
        return OXEL_BAD_PACKAGE_LENGTH;

    isInital = 1;
    COLOR_NUMBER = static_cast<std::uint16_t>(read_u16(package + 10));
    EO_RGB_color = package + read_u32(package + 12);
    TCON_INDEX_TABLE = package + read_u32(package + 16);
    GLUT = package + read_u32(package + 20);
    QLUT = package + read_u32(package + 24);
    judge_tables(package, package_size);
    return OXEL_SUCCESS;
}

int32_t Oxel_Morvel6_render(const uint8_t *input_image, uint32_t rgb_order, uint8_t *output_image,
                            uint32_t output_order, int32_t width, int32_t height,
                            uint32_t dithering_mode, int32_t output_type) noexcept {
    const Input input{input_image, rgb_order, {width, height}};
    const Output output{output_image, output_order, output_type};
    if (const auto refusal = check_render(input, dithering_mode, &output, 1))
        return refusal;
    if (const auto failure = render(input, dithering_mode, &output, 1))
        return failure;
    return output.status();
}

int32_t Oxel_Morvel6_render_All(const uint8_t *input_image, uint32_t rgb_order, uint8_t *tcon_image,
                                uint8_t *nominal_image, uint8_t *eo_image, void * /*reserved*/,
                                int32_t width, int32_t height, uint32_t dithering_mode) noexcept {
    const Input input{input_image, rgb_order, {width, height}};
    const Output outputs[] = {{tcon_image, rgb_order, OUTPUT_TCON_CODE},
                              {nominal_image, rgb_order, OUTPUT_NOMINAL_RGB},
                              {eo_image, rgb_order, OUTPUT_EO_RGB}};
    if (const auto refusal = check_render(input, dithering_mode, outputs, std::size(outputs)))
        return refusal;
    return render(input, dithering_mode, outputs, std::size(outputs));
}

char *Oxel_get_updateLog(void) noexcept {
    return updateLogMsg;
}
