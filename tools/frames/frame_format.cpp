#include "frames/frame_format.h"

#include "base/failure.h"

namespace oxel::tools {

namespace {

/// Bits of a code in its byte. Only for formats of one code a pixel.
struct Packing {
    int bits;

    std::size_t codes_a_byte() const { return static_cast<std::size_t>(8 / bits); }
    int mask() const { return (1 << bits) - 1; }
    int shift(std::size_t column) const {
        return 8 - bits * static_cast<int>(1 + column % codes_a_byte());
    }
    std::size_t row_bytes(std::size_t width) const {
        return (width + codes_a_byte() - 1) / codes_a_byte();
    }
};

Packing packing(FrameFormat format) {
    return {format == FrameFormat::packed4 ? 4 : format == FrameFormat::packed2 ? 2 : 8};
}

/// Calls visit(index of the pixel, index of its byte, bits to shift the code by).
template <class Visit>
void for_each_code(const Packing &packed, ImageSize size, Visit visit) {
    const auto width = static_cast<std::size_t>(size.width);
    const std::size_t row_bytes = packed.row_bytes(width);
    for (std::size_t row = 0; row < static_cast<std::size_t>(size.height); ++row)
        for (std::size_t column = 0; column < width; ++column)
            visit(row * width + column, row * row_bytes + column / packed.codes_a_byte(),
                  packed.shift(column));
}

} // namespace

bool format_fits(const FrameSettings &settings) {
    const bool codes =
        settings.content == FrameContent::tcon || settings.content == FrameContent::index;
    return codes || settings.format == FrameFormat::bytes || settings.format == FrameFormat::rgb;
}

FrameFormat file_format(const FrameSettings &settings) {
    const bool codes =
        settings.content == FrameContent::tcon || settings.content == FrameContent::index;
    return codes ? settings.format : FrameFormat::rgb;
}

std::size_t frame_bytes(FrameFormat format, ImageSize size) {
    if (format == FrameFormat::rgb)
        return 3 * size.pixels();
    return packing(format).row_bytes(static_cast<std::size_t>(size.width)) *
           static_cast<std::size_t>(size.height);
}

Bytes encode_frame(const std::string &panel, FrameFormat format, ImageSize size,
                   const Bytes &image) {
    if (format == FrameFormat::rgb)
        return image;
    const Packing packed = packing(format);
    Bytes frame(frame_bytes(format, size));
    for_each_code(packed, size, [&](std::size_t pixel, std::size_t byte, int shift) {
        const int code = image[3 * pixel];
        if (code > packed.mask())
            throw Failure(panel, "its code " + std::to_string(code) + " does not fit " +
                                     std::to_string(packed.bits) + " bits");
        frame[byte] = static_cast<std::uint8_t>(frame[byte] | code << shift);
    });
    return frame;
}

Bytes decode_frame(FrameFormat format, ImageSize size, const Bytes &frame) {
    if (format == FrameFormat::rgb)
        return frame;
    const Packing packed = packing(format);
    Bytes image(3 * size.pixels());
    for_each_code(packed, size, [&](std::size_t pixel, std::size_t byte, int shift) {
        for (std::size_t i = 0; i < 3; ++i)
            image[3 * pixel + i] = static_cast<std::uint8_t>(frame[byte] >> shift & packed.mask());
    });
    return image;
}

} // namespace oxel::tools
