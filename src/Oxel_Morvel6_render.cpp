#include "Oxel_Morvel6_render.h"

#include "forms/forms.h"
#include "library_state.h"
#include "render_pipeline.h"

#include <algorithm>

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
        return offset <= end && size <= end - offset;
    };
    largest_index = 0;
    tables_usable = fits(20, 3 * cell_count) && fits(24, cell_count);
    if (!tables_usable)
        return;
    largest_index = largest_of(QLUT, cell_count);
    const std::uint32_t entries = largest_index + 1U;
    tables_usable = fits(12, 3 * entries) && fits(16, entries);
}

} // namespace

} // namespace oxel

using namespace oxel;

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
    const Output outputs[] = {{output_image, output_order, output_type}};
    if (const auto failure = render(input, dithering_mode, outputs))
        return failure;
    return output_status(outputs[0], input.size);
}

int32_t Oxel_Morvel6_render_All(const uint8_t *input_image, uint32_t rgb_order, uint8_t *tcon_image,
                                uint8_t *nominal_image, uint8_t *eo_image, void * /*reserved*/,
                                int32_t width, int32_t height, uint32_t dithering_mode) noexcept {
    const Input input{input_image, rgb_order, {width, height}};
    const Output outputs[] = {{tcon_image, rgb_order, OUTPUT_TCON_CODE},
                              {nominal_image, rgb_order, OUTPUT_NOMINAL_RGB},
                              {eo_image, rgb_order, OUTPUT_EO_RGB}};
    return render(input, dithering_mode, outputs);
}
