#include "pictures/loaders.h"

#include "pictures/plain_pnm.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

namespace oxel::tools {

using vips::VImage;
using vips::VOption;

namespace {

/// What a loader keeps of a picture at once: no bytes if it reads row after row.
struct Loader {
    const char *name;
    double bytes_a_pixel = 0;
    bool drawing = false;
    bool document = false;
    VOption *(*halve)(VOption *options, int times) = nullptr;
};

// A JPEG's blocks and the wavelets of JPEG 2000 hold smaller pictures; the WebP decoder reduces
// rows while it writes them. Previews in HEIF and TIFF files may show something else.
VOption *halve_jpeg(VOption *options, int times) {
    return options->set("shrink", 1 << times);
}

VOption *halve_webp(VOption *options, int times) {
    return options->set("scale", 1.0 / (1 << times));
}

VOption *halve_jp2k(VOption *options, int times) {
    return options->set("page", times);
}

constexpr Loader loaders[] = {
    {"VipsForeignLoadJpegSource", 0, false, false, halve_jpeg},
    {"VipsForeignLoadPngSource"},
    {"VipsForeignLoadPpmSource"},
    {"VipsForeignLoadTiffSource"},
    {"VipsForeignLoadWebpSource", 4, false, false, halve_webp},
    {"VipsForeignLoadNsgifSource", 8},
    {"VipsForeignLoadHeifSource", 3},
    {"VipsForeignLoadJxlSource", 4},
    {"VipsForeignLoadJp2kSource", 0, false, false, halve_jp2k},
    {"VipsForeignLoadSvgSource", 0, true},
    {"VipsForeignLoadPdfSource", 0, true, true},
};

/// Formats that are met, and not read.
struct Format {
    std::string_view start;
    const char *name;
};

constexpr Format other_formats[] = {
    {"BM", "BMP"},
    {"%PDF", "PDF"}, // where the part of libvips that reads it is not installed
    {"8BPS", "PSD"},
    {{"\x01\xDA", 2}, "SGI"},
    {{"\0\0\1\0", 4}, "ICO"},
    {"v/1\1", "OpenEXR"},
    {"#?", "Radiance HDR"},
    {"SIMPLE", "FITS"},
    {"%!PS", "PostScript"},
    {"gimp xcf", "XCF"},
    {"/* XPM", "XPM"},
    {"id=ImageMagick", "MIFF"},
    {"push graphic-context", "MVG"},
    {"PK\3\4", "ZIP"},
    {"\x1F\x8B", "gzip"},
    {{"\0\0\0\x14"
      "ftypqt",
      10},
     "QuickTime"},
    {"\x1A\x45\xDF\xA3", "Matroska"},
    {"DDS ", "DDS"},
    {"qoif", "QOI"},
    {"farbfeld", "farbfeld"},
    {"FUJIFILM", "raw camera"},
    {"\xB6\xA6\xD8\xAB", "libvips"},
    {"\x08\xF2\xA6\xB6", "libvips"},
};

std::string start_of(int file) {
    std::array<char, 32> start;
    const ssize_t count = pread(file, start.data(), start.size(), 0);
    return {start.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
}

[[noreturn]] void refuse_format(std::string_view start) {
    for (const Format &format : other_formats)
        if (start.starts_with(format.start))
            throw std::runtime_error(std::string("is a ") + format.name +
                                     " file, a format that is not read");
    throw std::runtime_error("is not a picture of a known file format");
}

void check_costs(const VImage &image, double bytes_a_pixel, const PictureLimits &limits) {
    const ImageSize size{image.width(), image.height()};
    check_pixels(size, limits);
    // Interlaced PNGs, which are whole only at their end, are unpacked first.
    if (image.get_typeof("interlaced") != 0 && image.get_int("interlaced") != 0)
        bytes_a_pixel = static_cast<double>(VIPS_IMAGE_SIZEOF_PEL(image.get_image()));
    if (bytes_a_pixel * static_cast<double>(size.pixels()) > 1e6 * limits.megabytes)
        throw std::runtime_error(memory_refusal(limits));
}

} // namespace

void block_other_loaders() {
    vips_block_untrusted_set(TRUE);
    vips_operation_block_set("VipsForeignLoad", TRUE);
    for (const Loader &loader : loaders)
        vips_operation_block_set(loader.name, FALSE);
}

OpenPicture open_picture_file(int file, bool document, Opening opening,
                              const PictureLimits &limits) {
    const std::string start = start_of(file);
    if (is_plain_pnm(start))
        return {read_plain_pnm(file, start[1], limits), false, 0};
    lseek(file, 0, SEEK_SET); // where libvips expects it
    const vips::VSource source = vips::VSource::new_from_descriptor(file);
    const char *const found = vips_foreign_find_load_source(source.get_source());
    const auto *const loader =
        std::find_if(std::begin(loaders), std::end(loaders), [&](const Loader &one) {
            return found && std::string_view(one.name) == found;
        });
    if (loader == std::end(loaders))
        refuse_format(start);
    if (loader->document && !document)
        throw std::runtime_error("is a PDF document, which is drawn only if its name ends in .pdf");
    if (std::string_view(loader->name) == "VipsForeignLoadPpmSource") {
        check_pnm_head(file, limits);
        lseek(file, 0, SEEK_SET);
    }
    auto *const options = VImage::option()
                              ->set("access", VIPS_ACCESS_SEQUENTIAL)
                              ->set("fail_on", VIPS_FAIL_ON_TRUNCATED);
    if (loader->drawing)
        options->set("scale", opening.scale);
    if (opening.halvings > 0)
        loader->halve(options, opening.halvings);
    const VImage image = VImage::new_from_source(source, "", options);
    if (!loader->drawing)
        check_costs(image, loader->bytes_a_pixel, limits);
    // The smaller pictures that a JPEG 2000 file holds are counted as pages.
    const int smaller = loader->halve == halve_jp2k ? vips_image_get_n_pages(image.get_image()) - 1
                        : loader->halve             ? 3
                                                    : 0;
    return {image, loader->drawing, smaller};
}

void check_pixels(ImageSize size, const PictureLimits &limits) {
    if (size.pixels() > 1'000'000 * static_cast<std::size_t>(limits.megapixels))
        throw std::runtime_error("has " + size.text() + " pixels, more than the " +
                                 std::to_string(limits.megapixels) +
                                 " million that --max-pixels allows");
}

std::string memory_refusal(const PictureLimits &limits) {
    return "takes more memory than the " + std::to_string(limits.megabytes) +
           " MB that --max-memory allows";
}

} // namespace oxel::tools
