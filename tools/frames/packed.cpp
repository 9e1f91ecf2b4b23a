#include "frames/packed.h"

#include <stdexcept>

namespace oxel::tools {

namespace {

/// Calls visit(index of the pixel, index of its byte, bits to shift the code by).
template <class Visit>
void for_each_code(int bits, ImageSize size, std::size_t row_bytes, Visit visit) {
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    const auto codes_a_byte = static_cast<std::size_t>(8 / bits);
    for (std::size_t row = 0; row < height; ++row)
        for (std::size_t column = 0; column < width; ++column)
            visit(row * width + column, row * row_bytes + column / codes_a_byte,
                  8 - bits * static_cast<int>(1 + column % codes_a_byte));
}

void check_codes(const FrameImage &frame, int bits) {
    for (std::size_t i = 0; i < frame.pixels.size(); i += 3)
        if (frame.pixels[i] >> bits != 0)
            throw std::runtime_error("its code " + std::to_string(frame.pixels[i]) +
                                     " does not fit " + std::to_string(bits) + " bits");
}

} // namespace

std::size_t packed_row_bytes(int bits, std::int32_t width, std::size_t alignment) {
    const auto bytes = (static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) + 7) / 8;
    return (bytes + alignment - 1) / alignment * alignment;
}

Bytes pack(int bits, const FrameImage &frame, std::size_t alignment) {
    check_codes(frame, bits);
    const std::size_t row_bytes = packed_row_bytes(bits, frame.size.width, alignment);
    Bytes packed(row_bytes * static_cast<std::size_t>(frame.size.height));
    for_each_code(bits, frame.size, row_bytes, [&](std::size_t i, std::size_t byte, int shift) {
        packed[byte] = static_cast<std::uint8_t>(packed[byte] | frame.pixels[3 * i] << shift);
    });
    return packed;
}

Bytes unpack(int bits, std::span<const std::uint8_t> packed, ImageSize size,
             std::size_t alignment) {
    const std::size_t row_bytes = packed_row_bytes(bits, size.width, alignment);
    Bytes pixels;
    pixels.reserve(3 * size.pixels());
    for_each_code(bits, size, row_bytes, [&](std::size_t, std::size_t byte, int shift) {
        const int code = packed[byte] >> shift & ((1 << bits) - 1);
        pixels.insert(pixels.end(), 3, static_cast<std::uint8_t>(code));
    });
    return pixels;
}

int packed_bits_of(const Codes &codes) {
    const int bits = bits_of(codes);
    return bits > 4 ? 8 : bits == 3 ? 4 : bits;
}

Bytes encode_planes(const FrameImage &frame) {
    const int planes = bits_of(frame.codes);
    check_codes(frame, planes);
    const std::size_t row_bytes = packed_row_bytes(1, frame.size.width);
    const std::size_t plane_bytes = row_bytes * static_cast<std::size_t>(frame.size.height);
    Bytes file(static_cast<std::size_t>(planes) * plane_bytes);
    for_each_code(1, frame.size, row_bytes, [&](std::size_t i, std::size_t byte, int shift) {
        const int code = frame.pixels[3 * i];
        for (int plane = 0; plane < planes; ++plane, byte += plane_bytes)
            file[byte] = static_cast<std::uint8_t>(file[byte] | (code >> plane & 1) << shift);
    });
    return file;
}

Bytes decode_planes(std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size) {
    const std::size_t row_bytes = packed_row_bytes(1, size.width);
    const std::size_t plane_bytes = row_bytes * static_cast<std::size_t>(size.height);
    const int planes = bits_of(codes);
    Bytes pixels;
    pixels.reserve(3 * size.pixels());
    for_each_code(1, size, row_bytes, [&](std::size_t, std::size_t byte, int shift) {
        int code = 0;
        for (int plane = 0; plane < planes; ++plane, byte += plane_bytes)
            code |= (file[byte] >> shift & 1) << plane;
        pixels.insert(pixels.end(), 3, static_cast<std::uint8_t>(code));
    });
    return pixels;
}

} // namespace oxel::tools
