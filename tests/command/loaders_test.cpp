// Which formats are decoded at less than their size, and that it changes little in them.
#include "decoder/decoder.h"
#include "decoder/loaders.h"
#include "decoder/vips_session.h"
#include "pictures/decoder_messages.h"
#include "pictures/picture_threads.h"
#include "preparation/light.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <tiffio.h>
#include <unistd.h>

using namespace oxel::tools;
using vips::VImage;

namespace {

constexpr ImageSize size{512, 384};

/// Soft rings and slopes.
VImage photograph() {
    static const Bytes bytes = [] {
        Bytes all;
        for (int y = 0; y < size.height; ++y)
            for (int x = 0; x < size.width; ++x)
                for (const int channel : {0, 1, 2}) {
                    const double distance = std::hypot(x - 100.0 * (channel + 1), y - 150.0);
                    all.push_back(std::uint8_t(110 + 80 * std::sin(distance / 12) + x / 8));
                }
        return all;
    }();
    start_vips();
    return image_of(bytes, size);
}

Descriptor file_of(const void *bytes, std::size_t count) {
    Descriptor file(memfd_create("picture", 0));
    EXPECT_EQ(write(file.get(), bytes, count), ssize_t(count));
    return file;
}

Descriptor saved(const VImage &image, const char *suffix) {
    void *memory = nullptr;
    std::size_t count = 0;
    image.write_to_buffer(suffix, &memory, &count);
    const Bytes bytes = take_vips_memory(memory, count);
    return file_of(bytes.data(), bytes.size());
}

Light decoded(const Descriptor &file, ImageSize wanted, Fit fit = Fit::stretch) {
    Light light(3 * wanted.pixels());
    decode_picture(file.get(), {wanted, {.fit = fit}, false}, {},
                   {reinterpret_cast<std::uint8_t *>(light.data()), 2 * light.size()});
    return light;
}

int halvings_of(const Descriptor &file) {
    return open_picture_file(file.get(), false, {}, {}).most_halvings;
}

/// A TIFF of two grey pictures, of 64x64 pixels and of `side` x `side` with `bits` each.
Descriptor two_pages(std::uint32_t side, int bits, bool marked) {
    const Descriptor file(memfd_create("picture", 0));
    TIFF *const tiff = TIFFFdOpen(dup(file.get()), "", "w");
    for (const std::uint32_t width : {64U, side}) {
        const int depth = width == 64 ? 8 : bits;
        TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, width != 64 && marked ? FILETYPE_REDUCEDIMAGE : 0);
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, width);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, depth);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        Bytes row(width * std::uint32_t(depth) / 8);
        for (std::uint32_t y = 0; y < width; ++y)
            TIFFWriteScanline(tiff, row.data(), y);
        TIFFWriteDirectory(tiff);
    }
    TIFFClose(tiff);
    return Descriptor(dup(file.get()));
}

} // namespace

TEST(Loaders, DecodeSmallerPicturesThatLookAlike) {
    const Descriptor whole = saved(photograph(), ".png");
    EXPECT_EQ(halvings_of(whole), 0);
    const struct {
        const char *suffix;
        int halvings;
    } formats[] = {{".jpg[Q=95]", 3},
                   {".webp[Q=95]", 3},
                   {".webp[lossless]", 0},
                   {".webp[lossless,strip]", 0},
                   {".jp2[Q=90]", 2},
                   {".tif[pyramid,tile,tile-width=64,tile-height=64]", 3},
                   {".tif[pyramid,tile,tile-width=64,tile-height=64,subifd]", 3},
                   {".tif", 0}};
    for (const auto &[suffix, halvings] : formats) {
        const Descriptor file = saved(photograph(), suffix);
        EXPECT_EQ(halvings_of(file), halvings) << suffix;
        for (const ImageSize wanted : {ImageSize{400, 300}, {128, 96}, {61, 47}, {29, 17}}) {
            limit_picture_threads(1); // which reads rows in another way
            const Light light = decoded(file, wanted);
            limit_picture_threads(2);
            const Light expected = decoded(whole, wanted);
            double sum = 0;
            for (std::size_t i = 0; i < light.size(); ++i)
                sum += std::abs(light[i] - expected[i]);
            EXPECT_LT(sum / double(light.size()), 320) << suffix << ' ' << wanted.text();
        }
    }
}

TEST(Loaders, KeepAllOfANarrowPicture) {
    const VImage narrow = photograph().extract_area(0, 150, size.width, 7);
    const Light expected = decoded(saved(narrow, ".png"), {32, 16}, Fit::contain);
    for (const char *const suffix : {".jpg[Q=99]", ".webp[Q=99]", ".jp2[Q=99]"}) {
        const Light light = decoded(saved(narrow, suffix), {32, 16}, Fit::contain);
        for (std::size_t i = 0; i < light.size(); ++i)
            ASSERT_NEAR(light[i], expected[i], 2000) << suffix << ' ' << i;
    }
}

TEST(Loaders, TakeNoOtherPageOfATiffForASmallerOne) {
    start_vips();
    EXPECT_EQ(halvings_of(two_pages(32, 8, true)), 1);
    EXPECT_EQ(halvings_of(two_pages(32, 8, false)), 0);
    EXPECT_EQ(halvings_of(two_pages(31, 8, true)), 0);
    EXPECT_EQ(halvings_of(two_pages(32, 16, true)), 0);
}
