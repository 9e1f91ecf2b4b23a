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
    unsigned all = 0;
    for (std::size_t i = 0; i < frame.pixels.size(); i += 3)
        all |= frame.pixels[i];
    if (all >> bits == 0)
        return;
    for (std::size_t i = 0; i < frame.pixels.size(); i += 3)
        if (frame.pixels[i] >> bits != 0)
            throw std::runtime_error("its code " + std::to_string(frame.pixels[i]) +
                                     " does not fit " + std::to_string(bits) + " bits");
}

template <int bits, std::size_t stride>
void pack_row(const std::uint8_t *codes, std::size_t width, std::uint8_t *packed) {
    constexpr std::size_t codes_a_byte = 8 / bits;
    const auto byte_of = [&](std::size_t count) {
        unsigned byte = 0;
        for (std::size_t i = 0; i < count; ++i)
            byte |= unsigned{codes[stride * i]} << (8 - bits * static_cast<int>(1 + i));
        return static_cast<std::uint8_t>(byte);
    };
    for (; width >= codes_a_byte; width -= codes_a_byte, codes += stride * codes_a_byte)
        *packed++ = byte_of(codes_a_byte);
    if (width > 0)
        *packed = byte_of(width);
}

template <std::size_t stride>
Bytes pack_rows(int bits, const std::uint8_t *codes, ImageSize size, std::size_t alignment) {
    const auto row = bits == 1   ? pack_row<1, stride>
                     : bits == 2 ? pack_row<2, stride>
                     : bits == 4 ? pack_row<4, stride>
                                 : pack_row<8, stride>;
    const std::size_t row_bytes = packed_row_bytes(bits, size.width, alignment);
    const auto width = static_cast<std::size_t>(size.width);
    Bytes packed(row_bytes * static_cast<std::size_t>(size.height));
    for (std::size_t place = 0; place < packed.size(); place += row_bytes, codes += stride * width)
        row(codes, width, &packed[place]);
    return packed;
}

} // namespace

std::size_t packed_row_bytes(int bits, std::int32_t width, std::size_t alignment) {
    const auto bytes = (static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) + 7) / 8;
    return (bytes + alignment - 1) / alignment * alignment;
}

Bytes pack(int bits, const FrameImage &frame, std::size_t alignment) {
    check_codes(frame, bits);
    return pack_rows<3>(bits, frame.pixels.data(), frame.size, alignment);
}

Bytes pack_indices(int bits, std::span<const std::uint8_t> indices, ImageSize size) {
    return pack_rows<1>(bits, indices.data(), size, 1);
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

int packed_bits(int bits) {
    return bits > 4 ? 8 : bits == 3 ? 4 : bits;
}

int packed_bits_of(const Codes &codes) {
    return packed_bits(bits_of(codes));
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
