#include "frames/bmp.h"

#include "frames/file_size.h"
#include "frames/packed.h"

#include <algorithm>
#include <stdexcept>

namespace oxel::tools {

namespace {

constexpr std::size_t file_header = 14;
constexpr std::size_t info_header = 40;
constexpr std::size_t row_alignment = 4;

void append(Bytes &bytes, int count, std::size_t number) {
    for (int i = 0; i < count; ++i, number >>= 8)
        bytes.push_back(static_cast<std::uint8_t>(number));
}

std::uint32_t read(std::span<const std::uint8_t> file, std::size_t place, int count) {
    std::uint32_t number = 0;
    for (int i = 0; i < count; ++i)
        number |= std::uint32_t{file[place + static_cast<std::size_t>(i)]} << 8 * i;
    return number;
}

/// The image upside down: BMP begins at the bottom.
Bytes turned_over(const Bytes &pixels, ImageSize size) {
    const auto row = 3 * static_cast<std::ptrdiff_t>(size.width);
    Bytes turned;
    turned.reserve(pixels.size());
    for (auto end = pixels.end(); end != pixels.begin(); end -= row)
        turned.insert(turned.end(), end - row, end);
    return turned;
}

} // namespace

Bytes encode_bmp(const FrameImage &frame) {
    const int packed_bits = packed_bits_of(frame.codes);
    const int bits = packed_bits == 2 ? 4 : packed_bits;
    const Bytes pixels = turned_over(frame.pixels, frame.size);
    const Bytes rows = pack(bits, {frame.size, pixels, frame.codes, frame.name}, row_alignment);
    const auto colours = colour_table(frame.codes);
    const std::size_t start = file_header + info_header + 4 * colours.size();

    Bytes file = {'B', 'M'};
    append(file, 4, start + rows.size());
    append(file, 4, 0);
    append(file, 4, start);
    append(file, 4, info_header);
    append(file, 4, static_cast<std::size_t>(frame.size.width));
    append(file, 4, static_cast<std::size_t>(frame.size.height));
    append(file, 2, 1); // plane
    append(file, 2, static_cast<std::size_t>(bits));
    append(file, 4, 0); // no compression
    append(file, 4, rows.size());
    append(file, 4, 0); // no resolution
    append(file, 4, 0);
    append(file, 4, colours.size());
    append(file, 4, 0); // all of them matter
    for (const auto &colour : colours)
        file.insert(file.end(), {colour[2], colour[1], colour[0], 0});
    file.insert(file.end(), rows.begin(), rows.end());
    return file;
}

Bytes decode_bmp(std::span<const std::uint8_t> file, const Codes &, ImageSize &size) {
    if (file.size() < file_header + info_header || file[0] != 'B' || file[1] != 'M' ||
        read(file, 14, 4) < info_header)
        throw std::runtime_error("is not a BMP");
    const int bits = static_cast<int>(read(file, 28, 2));
    if (read(file, 30, 4) != 0 || (bits != 1 && bits != 4 && bits != 8))
        throw std::runtime_error("is not an indexed BMP without compression");
    const auto height = static_cast<std::int32_t>(read(file, 22, 4));
    const bool top_first = height < 0;
    const auto rows = top_first ? -std::int64_t{height} : std::int64_t{height};
    settle_size({static_cast<std::int32_t>(read(file, 18, 4)),
                 static_cast<std::int32_t>(std::min<std::int64_t>(rows, INT32_MAX))},
                size);
    const std::size_t start = read(file, 10, 4);
    const std::size_t expected =
        packed_row_bytes(bits, size.width, row_alignment) * static_cast<std::size_t>(size.height);
    if (start > file.size() || file.size() - start < expected)
        throw std::runtime_error("ends too early");
    const Bytes pixels = unpack(bits, file.subspan(start), size, row_alignment);
    return top_first ? pixels : turned_over(pixels, size);
}

} // namespace oxel::tools
