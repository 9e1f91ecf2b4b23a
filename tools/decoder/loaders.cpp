#include "decoder/loaders.h"

#include "decoder/plain_pnm.h"
#include "decoder/svg_text.h"
#include "decoder/tiff_pyramid.h"
#include "decoder/vips_modules.h"
#include "pictures/decoder_messages.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace oxel::tools {

using vips::VImage;
using vips::VOption;

namespace {

/// How a loader makes pictures of half, a quarter or an eighth of the size.
enum class Halving {
    none,    // what HEIF files hold beside may show something else; of JPEG XL libvips reads all
    shrink,  // from the lower frequencies of a JPEG's blocks
    scale,   // WebP: rows are reduced as they are decoded; unless it is lossless, as drawings are
    pages,   // JPEG 2000: from the lower frequencies of its wavelets, which count as pages
    pyramid, // TIFF: beside the picture
};

/// What a loader keeps of a picture at once: no bytes if it reads row after row.
struct Loader {
    const char *name;
    double bytes_a_pixel = 0;
    Halving halving = Halving::none;
    bool drawing = false;
    bool document = false;
};

constexpr Loader loaders[] = {
    {"VipsForeignLoadJpegSource", 0, Halving::shrink},
    {"VipsForeignLoadPngSource"},
    {"VipsForeignLoadPpmSource"},
    {"VipsForeignLoadTiffSource", 0, Halving::pyramid},
    {"VipsForeignLoadWebpSource", 4, Halving::scale},
    {"VipsForeignLoadNsgifSource", 8},
    {"VipsForeignLoadHeifSource", 3},
    {"VipsForeignLoadJxlSource", 4},
    {"VipsForeignLoadJp2kSource", 0, Halving::pages},
    {"VipsForeignLoadSvgSource", 0, Halving::none, true},
    {"VipsForeignLoadPdfSource", 0, Halving::none, true, true},
};

/// The drawing in a file with text that is not smoothed.
vips::VSource sharp_text_in(int file) {
    std::string svg;
    std::array<char, 65536> part;
    for (ssize_t count = 0;
         (count = pread(file, part.data(), part.size(), static_cast<off_t>(svg.size()))) > 0;)
        svg.append(part.data(), static_cast<std::size_t>(count));
    svg = with_sharp_text(std::move(svg));
    VipsBlob *const blob = vips_blob_copy(svg.data(), svg.size());
    const vips::VSource source = vips::VSource::new_from_blob(blob);
    vips_area_unref(VIPS_AREA(blob));
    return source;
}

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

std::string bytes_at(int file, std::int64_t place, std::size_t most) {
    std::string bytes(most, '\0');
    const ssize_t count = pread(file, bytes.data(), most, static_cast<off_t>(place));
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

/// Whether the first of the file's chunks that holds pixels holds them without loss.
bool is_lossless_webp(int file) {
    std::int64_t place = 12;
    for (std::string chunk; (chunk = bytes_at(file, place, 8)).size() == 8;) {
        if (chunk.starts_with("VP8L"))
            return true;
        if (chunk.starts_with("VP8 ") || chunk.starts_with("ANMF"))
            return false;
        std::uint32_t size = 0;
        for (std::size_t i = 8; i-- > 4;)
            size = size << 8 | static_cast<std::uint8_t>(chunk[i]);
        place += 8 + std::int64_t{size} + size % 2;
    }
    return false;
}

/// The module that may be needed to read a file that starts so.
const char *module_for(std::string_view start) {
    const std::string_view mark = start.substr(std::min<std::size_t>(4, start.size()), 4);
    return mark == "ftyp"                                    ? "heif"
           : mark == "JXL " || start.starts_with("\xFF\x0A") ? "jxl"
           : start.starts_with("%PDF")                       ? "poppler"
                                                             : nullptr;
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

void halve(VOption *options, Halving halving, int times, const TiffPyramid &pyramid) {
    switch (halving) {
    case Halving::none:
        break;
    case Halving::shrink:
        options->set("shrink", 1 << times);
        break;
    case Halving::scale:
        options->set("scale", 1.0 / (1 << times));
        break;
    case Halving::pages:
        options->set("page", times);
        break;
    case Halving::pyramid:
        options->set(pyramid.nested ? "subifd" : "page", pyramid.nested ? times - 1 : times);
        break;
    }
}

int most_halvings(int file, const VImage &image, Halving halving, const TiffPyramid &pyramid) {
    switch (halving) {
    case Halving::none:
        return 0;
    case Halving::shrink:
        return 3;
    case Halving::scale:
        return is_lossless_webp(file) ? 0 : 3;
    case Halving::pages:
        return vips_image_get_n_pages(image.get_image()) - 1;
    case Halving::pyramid:
        return pyramid.halvings;
    }
    return 0;
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
    const std::string start = bytes_at(file, 0, 32);
    if (is_plain_pnm(start))
        return {read_plain_pnm(file, start[1], limits), false, 0, 0};
    if (const char *const module = module_for(start); module && load_vips_module(module))
        block_other_loaders(); // of those, too, that it has brought
    const bool may_be_tiff = start.starts_with("II") || start.starts_with("MM");
    const TiffPyramid pyramid = may_be_tiff ? tiff_pyramid(file) : TiffPyramid{};
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
        halve(options, loader->halving, opening.halvings, pyramid);
    const bool sharp =
        !opening.smooth_text && std::string_view(loader->name) == "VipsForeignLoadSvgSource";
    const VImage image = VImage::new_from_source(sharp ? sharp_text_in(file) : source, "", options);
    if (!loader->drawing)
        check_costs(image, loader->bytes_a_pixel, limits);
    // Of the wavelets' lower frequencies each lies at the first of the pixels that it stands for,
    // not in the middle of them.
    const double shift =
        loader->halving == Halving::pages ? 0.5 - 0.5 / (1 << opening.halvings) : 0;
    return {image, loader->drawing, most_halvings(file, image, loader->halving, pyramid), shift};
}

void check_pixels(ImageSize size, const PictureLimits &limits) {
    if (size.pixels() > 1'000'000 * static_cast<std::size_t>(limits.megapixels))
        throw std::runtime_error("has " + size.text() + " pixels, more than the " +
                                 std::to_string(limits.megapixels) +
                                 " million that --max-pixels allows");
}

} // namespace oxel::tools
