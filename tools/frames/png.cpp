#include "frames/png.h"

#include "frames/deflate.h"
#include "frames/file_size.h"
#include "frames/packed.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace oxel::tools {

namespace {

constexpr std::array<std::uint8_t, 8> signature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr std::uint8_t indexed = 3; // colour type

void append_u32(Bytes &bytes, std::size_t number) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

std::uint32_t read_u32(std::span<const std::uint8_t> bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

void append_chunk(Bytes &png, std::string_view type, std::span<const std::uint8_t> data) {
    append_u32(png, data.size());
    const std::size_t start = png.size();
    png.insert(png.end(), type.begin(), type.end());
    png.insert(png.end(), data.begin(), data.end());
    append_u32(png, crc_of(std::span(png).subspan(start)));
}

/// The chunks that hold the picture.
struct Chunks {
    std::span<const std::uint8_t> header;
    Bytes data;
};

Chunks read_chunks(std::span<const std::uint8_t> file) {
    if (file.size() < signature.size() ||
        !std::equal(signature.begin(), signature.end(), file.begin()))
        throw std::runtime_error("is not a PNG");
    Chunks chunks;
    for (std::size_t place = signature.size();;) {
        if (file.size() - place < 12 || file.size() - place - 12 < read_u32(file.subspan(place)))
            throw std::runtime_error("ends too early");
        const std::size_t length = read_u32(file.subspan(place));
        const auto named = file.subspan(place + 4, 4 + length); // what the CRC is of
        if (read_u32(file.subspan(place + 8 + length)) != crc_of(named))
            throw std::runtime_error("is damaged: a CRC-32 does not match");
        const std::string_view type(reinterpret_cast<const char *>(named.data()), 4);
        const auto data = named.subspan(4);
        if (type == "IHDR" && length == 13)
            chunks.header = data;
        else if (type == "IDAT")
            chunks.data.insert(chunks.data.end(), data.begin(), data.end());
        else if (type == "IEND")
            break;
        place += 12 + length;
    }
    if (chunks.header.empty())
        throw std::runtime_error("is no PNG: it has no header");
    return chunks;
}

/// Of left, upper and upper left neighbour the one nearest to left + upper - upper left.
int paeth(int left, int upper, int corner) {
    const int estimate = left + upper - corner;
    const int to_left = std::abs(estimate - left);
    const int to_upper = std::abs(estimate - upper);
    const int to_corner = std::abs(estimate - corner);
    if (to_left <= to_upper && to_left <= to_corner)
        return left;
    return to_upper <= to_corner ? upper : corner;
}

/// Rows without the filters that stand before them; other encoders may use some.
Bytes undo_filters(const Bytes &scanlines, std::size_t row_bytes) {
    Bytes rows;
    rows.reserve(scanlines.size());
    Bytes upper(row_bytes);
    Bytes row(row_bytes);
    for (std::size_t place = 0; place < scanlines.size(); place += row_bytes) {
        const int filter = scanlines[place++];
        for (std::size_t i = 0; i < row_bytes; ++i) {
            const int left = i > 0 ? row[i - 1] : 0;
            const int corner = i > 0 ? upper[i - 1] : 0;
            const int predictions[] = {0, left, upper[i], (left + upper[i]) / 2,
                                       paeth(left, upper[i], corner)};
            if (filter > 4)
                throw std::runtime_error("is damaged: a row's filter is unknown");
            row[i] = static_cast<std::uint8_t>(scanlines[place + i] + predictions[filter]);
        }
        rows.insert(rows.end(), row.begin(), row.end());
        upper = row;
    }
    return rows;
}

using Colours = std::vector<std::array<std::uint8_t, 3>>;

/// The rows are packed.
Bytes encode(ImageSize size, int bits, const Bytes &rows, const Colours &colours, Effort effort) {
    const std::size_t row_bytes = packed_row_bytes(bits, size.width);
    Bytes scanlines;
    scanlines.reserve(rows.size() + static_cast<std::size_t>(size.height));
    for (auto row = rows.begin(); row != rows.end();
         row += static_cast<std::ptrdiff_t>(row_bytes)) {
        scanlines.push_back(0); // no filter: neighbouring indices say nothing of each other
        scanlines.insert(scanlines.end(), row, row + static_cast<std::ptrdiff_t>(row_bytes));
    }
    Bytes header;
    append_u32(header, static_cast<std::size_t>(size.width));
    append_u32(header, static_cast<std::size_t>(size.height));
    header.insert(header.end(), {static_cast<std::uint8_t>(bits), indexed, 0, 0, 0});
    Bytes palette;
    for (const auto &colour : colours)
        palette.insert(palette.end(), colour.begin(), colour.end());
    Bytes png(signature.begin(), signature.end());
    append_chunk(png, "IHDR", header);
    append_chunk(png, "PLTE", palette);
    append_chunk(png, "IDAT", deflate_bytes(scanlines, Wrapping::zlib, effort));
    append_chunk(png, "IEND", {});
    return png;
}

/// Colours in the order in which they are met, up to 256.
class Palette {
  public:
    Palette() { places_.fill(-1); }

    /// -1 where there is no room for it.
    int index_of(const std::uint8_t *rgb) {
        const std::uint32_t colour =
            std::uint32_t{rgb[0]} << 16 | std::uint32_t{rgb[1]} << 8 | rgb[2];
        std::size_t place = colour * 0x9E3779B1U >> (32 - place_bits);
        while (places_[place] >= 0 && keys_[static_cast<std::size_t>(places_[place])] != colour)
            place = (place + 1) % places_.size();
        if (places_[place] < 0 && colours_.size() < keys_.size()) {
            places_[place] = static_cast<int>(colours_.size());
            keys_[colours_.size()] = colour;
            colours_.push_back({rgb[0], rgb[1], rgb[2]});
        }
        return places_[place];
    }

    const Colours &colours() const { return colours_; }

  private:
    static constexpr int place_bits = 10;
    std::array<int, 1 << place_bits> places_;
    std::array<std::uint32_t, 256> keys_;
    Colours colours_;
};

} // namespace

Bytes encode_png_frame(const FrameImage &frame) {
    const Colours colours = colour_table(frame.codes);
    for (std::size_t i = 0; i < frame.pixels.size(); i += 3)
        if (frame.pixels[i] >= colours.size())
            throw std::runtime_error("its code " + std::to_string(frame.pixels[i]) +
                                     " is none of the panel's");
    const int bits = packed_bits_of(frame.codes);
    return encode(frame.size, bits, pack(bits, frame), colours, Effort::full);
}

std::optional<Bytes> encode_png_of_few_colours(const Bytes &rgb, ImageSize size) {
    Palette palette;
    Bytes indices(size.pixels());
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const int index = palette.index_of(&rgb[3 * i]);
        if (index < 0)
            return std::nullopt;
        indices[i] = static_cast<std::uint8_t>(index);
    }
    const auto largest = static_cast<std::uint32_t>(palette.colours().size() - 1);
    const int bits = packed_bits(std::max(1, static_cast<int>(std::bit_width(largest))));
    return encode(size, bits, pack_indices(bits, indices, size), palette.colours(), Effort::low);
}

Bytes decode_png_frame(std::span<const std::uint8_t> file, const Codes &, ImageSize &size) {
    const Chunks chunks = read_chunks(file);
    const int bits = chunks.header[8];
    if (chunks.header[9] != indexed || chunks.header[12] != 0 ||
        (bits != 1 && bits != 2 && bits != 4 && bits != 8))
        throw std::runtime_error("is not an indexed PNG without interlacing");
    const auto length = [&](std::size_t place) { // what no frame has becomes negative
        return static_cast<std::int32_t>(read_u32(chunks.header.subspan(place)));
    };
    settle_size({length(0), length(4)}, size);
    const std::size_t row_bytes = packed_row_bytes(bits, size.width);
    const std::size_t expected = (row_bytes + 1) * static_cast<std::size_t>(size.height);
    const Bytes scanlines = inflate_bytes(chunks.data, Wrapping::zlib, expected);
    if (scanlines.size() != expected)
        throw std::runtime_error("ends too early");
    return unpack(bits, undo_filters(scanlines, row_bytes), size);
}

} // namespace oxel::tools
