#include "frames/frame_format.h"

#include "base/failure.h"
#include "frames/bmp.h"
#include "frames/c_header.h"
#include "frames/deflate.h"
#include "frames/packed.h"
#include "frames/png.h"

#include <stdexcept>

namespace oxel::tools {

namespace {

Bytes copy_colours(const FrameImage &frame) {
    return frame.pixels;
}

Bytes read_colours(std::span<const std::uint8_t> file, const Codes &, ImageSize &) {
    return {file.begin(), file.end()};
}

template <int bits>
Bytes encode_packed(const FrameImage &frame) {
    return pack(bits, frame);
}

template <int bits>
Bytes decode_packed(std::span<const std::uint8_t> file, const Codes &, ImageSize &size) {
    return unpack(bits, file, size);
}

/// Those that tell their size are known by their suffix, too.
constexpr FrameFormatEntry formats[] = {
    {"bytes", ".bin", 8, false, false, "one byte a pixel", encode_packed<8>, decode_packed<8>},
    {"rgb", ".bin", 24, true, false, "three bytes a pixel, equal ones for codes", copy_colours,
     read_colours},
    {"packed4", ".bin", 4, false, false, "4 bits a pixel: the left one of two in the high half",
     encode_packed<4>, decode_packed<4>},
    {"packed2", ".bin", 2, false, false, "2 bits a pixel: the leftmost of four in the highest bits",
     encode_packed<2>, decode_packed<2>},
    {"packed1", ".bin", 1, false, false, "1 bit a pixel: the leftmost of eight in the highest bit",
     encode_packed<1>, decode_packed<1>},
    {"planes1", ".bin", 0, false, false,
     "a plane like packed1 for each bit of the code, the lowest bit's first", encode_planes,
     decode_planes},
    {"png", ".png", 0, false, true, "an indexed PNG: codes as indices, measured colours as palette",
     encode_png_frame, decode_png_frame},
    {"bmp", ".bmp", 0, false, true, "an indexed BMP, the same", encode_bmp, decode_bmp},
    {"c", ".h", 0, false, true, "a header for C and C++ with a constant array, packed",
     encode_c_header, decode_c_header},
};

/// Of the formats without a header.
std::size_t frame_bytes(const FrameFormatEntry &format, const Codes &codes, ImageSize size) {
    const auto height = static_cast<std::size_t>(size.height);
    return format.bits == 0
               ? static_cast<std::size_t>(bits_of(codes)) * packed_row_bytes(1, size.width) * height
               : packed_row_bytes(format.bits, size.width) * height;
}

/// The most that a compressed frame may hold: a header's array has 12 letters a pixel at most, and
/// without a size a file of this project's own making stays far below a quarter of a gibibyte.
std::size_t most_bytes(ImageSize size) {
    return size.pixels() == 0 ? std::size_t{1} << 28 : 12 * size.pixels() + 65536;
}

} // namespace

std::span<const FrameFormatEntry> frame_formats() {
    return formats;
}

const FrameFormatEntry &entry_of(FrameFormat format) {
    return formats[static_cast<std::size_t>(format)];
}

bool holds_codes(FrameContent content) {
    return content == FrameContent::tcon || content == FrameContent::index;
}

FrameFormat file_format(const FrameSettings &settings) {
    return holds_codes(settings.content) ? settings.format.value_or(FrameFormat::bytes)
                                         : FrameFormat::rgb;
}

FrameName parse_frame_name(const std::string &path) {
    std::string name = path;
    for (char &c : name)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    FrameName parsed{std::nullopt, name.ends_with(".gz")};
    if (parsed.gzip)
        name.resize(name.size() - 3);
    for (const FrameFormatEntry &format : formats)
        if (format.tells_size && name.ends_with(format.suffix))
            parsed.format = static_cast<FrameFormat>(&format - formats);
    return parsed;
}

std::string frame_suffix(const FrameSettings &settings) {
    return entry_of(file_format(settings)).suffix + std::string(settings.gzip ? ".gz" : "");
}

Bytes encode_frame(const std::string &source, FrameFormat format, bool gzip,
                   const FrameImage &frame) {
    try {
        Bytes file = entry_of(format).encode(frame);
        return gzip ? deflate_bytes(file, Wrapping::gzip) : file;
    } catch (const std::runtime_error &error) {
        throw Failure(source, error.what());
    }
}

Bytes decode_frame(const std::string &source, FrameFormat format, bool gzip,
                   std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size) {
    const FrameFormatEntry &entry = entry_of(format);
    try {
        Bytes inflated;
        if (gzip) {
            inflated = inflate_bytes(file, Wrapping::gzip, most_bytes(size));
            file = inflated;
        }
        if (!entry.tells_size)
            if (const std::size_t expected = frame_bytes(entry, codes, size);
                file.size() != expected)
                throw std::runtime_error("has " + std::to_string(file.size()) +
                                         " bytes; a frame of " + size.text() +
                                         " in this format has " + std::to_string(expected));
        return entry.decode(file, codes, size);
    } catch (const std::runtime_error &error) {
        throw Failure(source, error.what());
    }
}

} // namespace oxel::tools
