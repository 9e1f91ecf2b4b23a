#include "decoder/tiff_pyramid.h"

#include <array>
#include <memory>
#include <tiffio.h>
#include <unistd.h>
#include <vector>

namespace oxel::tools {

namespace {

constexpr int most_levels = 16;

template <class Number>
Number field(TIFF *tiff, std::uint32_t tag) {
    Number number = 0;
    TIFFGetFieldDefaulted(tiff, tag, &number);
    return number;
}

/// The directory that is being read.
struct Directory {
    explicit Directory(TIFF *tiff)
        : sides{field<std::uint32_t>(tiff, TIFFTAG_IMAGEWIDTH),
                field<std::uint32_t>(tiff, TIFFTAG_IMAGELENGTH)},
          kind{field<std::uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE),
               field<std::uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL),
               field<std::uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT),
               field<std::uint16_t>(tiff, TIFFTAG_PHOTOMETRIC)},
          smaller((field<std::uint32_t>(tiff, TIFFTAG_SUBFILETYPE) & FILETYPE_REDUCEDIMAGE) != 0) {}

    bool halves(const Directory &whole, int times) const {
        for (std::size_t i = 0; i < sides.size(); ++i)
            if (sides[i] != whole.sides[i] >> times &&
                sides[i] != (whole.sides[i] + (1U << times) - 1) >> times)
                return false;
        return smaller && kind == whole.kind;
    }

    std::array<std::uint32_t, 2> sides;
    std::array<std::uint16_t, 4> kind;
    bool smaller;
};

} // namespace

TiffPyramid tiff_pyramid(int file) {
    const int copy = dup(file); // which libtiff closes
    lseek(copy, 0, SEEK_SET);
    const std::unique_ptr<TIFF, decltype(&TIFFClose)> tiff(TIFFFdOpen(copy, "", "rm"), TIFFClose);
    if (!tiff) {
        close(copy);
        return {};
    }
    const Directory whole(tiff.get());
    std::uint16_t count = 0;
    std::uint64_t *places = nullptr;
    TIFFGetField(tiff.get(), TIFFTAG_SUBIFD, &count, &places);
    const std::vector<std::uint64_t> nested(places, places + count);
    const auto enter = [&](int level) {
        if (nested.empty())
            return TIFFReadDirectory(tiff.get()) == 1;
        const auto place = static_cast<std::size_t>(level - 1);
        return place < nested.size() && TIFFSetSubDirectory(tiff.get(), nested[place]) == 1;
    };
    TiffPyramid pyramid{0, !nested.empty()};
    while (pyramid.halvings < most_levels && enter(pyramid.halvings + 1) &&
           Directory(tiff.get()).halves(whole, pyramid.halvings + 1))
        ++pyramid.halvings;
    return pyramid;
}

} // namespace oxel::tools
