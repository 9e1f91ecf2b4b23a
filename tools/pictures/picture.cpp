#include "pictures/picture.h"

#include "base/failure.h"
#include "pictures/vips_session.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <string_view>
#include <unistd.h>

namespace oxel::tools {

using vips::VImage;
using vips::VOption;

namespace {

/// libvips reads a file more than once, which pipes do not allow.
void expect_file(const std::string &path) {
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    if (type == std::filesystem::file_type::not_found)
        throw Failure(path, "no such file");
    if (error)
        throw Failure(path, error.message());
    if (type != std::filesystem::file_type::regular)
        throw Failure(path, "is not a regular file");
    if (access(path.c_str(), R_OK) != 0)
        throw Failure(path, std::strerror(errno));
}

VImage open(const std::string &path, VOption *options = nullptr) {
    // libvips takes brackets at the end of a name for options: these are none.
    const std::string name = path + "[]";
    if (!vips_foreign_find_load(name.c_str()))
        throw Failure(path, "is not a picture of a known file format");
    return VImage::new_from_file(name.c_str(), options);
}

/// As `framing` wants it rotated, in words that libvips understands.
VImage orient(const VImage &image, const Framing &framing) {
    if (framing.rotation == Rotation::as_oriented)
        return image;
    static constexpr int orientations[] = {0, 1, 6, 3, 8}; // of EXIF, for enum Rotation
    VImage oriented = image.copy();
    oriented.set(VIPS_META_ORIENTATION, orientations[static_cast<int>(framing.rotation)]);
    return oriented;
}

VImage open(const std::string &path, ImageSize size) {
    const auto options = [] {
        return VImage::option()
            ->set("access", VIPS_ACCESS_SEQUENTIAL)
            ->set("fail_on", VIPS_FAIL_ON_TRUNCATED);
    };
    const VImage image = open(path, options());
    const std::string loader = image.get_string(VIPS_META_LOADER);
    if (!loader.starts_with("svg") && !loader.starts_with("pdf"))
        return image;
    // Drawings are drawn at the size wanted, which is sharper than enlarging them.
    const double scale =
        std::max(double(size.width) / image.width(), double(size.height) / image.height());
    return open(path, options()->set("scale", scale));
}

/// Whether a profile comes with the picture and is one for its kind of colours: grey pictures are
/// found with one for RGB, and L*a*b* needs none.
bool has_profile(const VImage &image) {
    if (image.get_typeof(VIPS_META_ICC_NAME) == 0)
        return false;
    std::size_t size = 0;
    const auto *profile = static_cast<const char *>(image.get_blob(VIPS_META_ICC_NAME, &size));
    switch (image.interpretation()) {
    case VIPS_INTERPRETATION_B_W:
    case VIPS_INTERPRETATION_GREY16:
        return size >= 20 && std::string_view(profile + 16, 4) == "GRAY";
    case VIPS_INTERPRETATION_LAB:
    case VIPS_INTERPRETATION_LABS:
        return false;
    default:
        return true;
    }
}

/// Three bytes a pixel, opaque.
VImage to_srgb(VImage image, const std::vector<double> &background) {
    if (has_profile(image) || image.interpretation() == VIPS_INTERPRETATION_CMYK)
        image = image.icc_transform("srgb", VImage::option()->set("embedded", true));
    image = image.copy(); // as libvips asks before its notes are changed
    image.remove(VIPS_META_ICC_NAME);
    image = image.colourspace(VIPS_INTERPRETATION_sRGB);
    return image.has_alpha() ? image.flatten(VImage::option()->set("background", background))
                             : image;
}

VipsInteresting crop_of(Fit fit) {
    return fit == Fit::cover       ? VIPS_INTERESTING_CENTRE
           : fit == Fit::attention ? VIPS_INTERESTING_ATTENTION
                                   : VIPS_INTERESTING_NONE;
}

} // namespace

bool is_picture_name(const std::string &path) {
    static const std::set<std::string> suffixes = {
        ".avif", ".bmp", ".gif", ".heic", ".heif", ".jfif", ".jp2", ".jpe", ".jpeg", ".jpg", ".jxl",
        ".pbm",  ".pdf", ".pgm", ".png",  ".pnm",  ".ppm",  ".svg", ".tif", ".tiff", ".webp"};
    std::string suffix = std::filesystem::path(path).extension();
    for (char &c : suffix)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return suffixes.count(suffix) != 0;
}

ImageSize picture_size(const std::string &path, const Framing &framing) {
    expect_file(path);
    return with_vips(path, [&] {
        const VImage image = orient(open(path), framing).autorot();
        return ImageSize{image.width(), image.height()};
    });
}

Bytes load_picture(const std::string &path, ImageSize size, const Framing &framing) {
    expect_file(path);
    const std::vector<double> background(framing.background.begin(), framing.background.end());
    return with_vips(path, [&] {
        // Resized in linear light, so that fine patterns keep their brightness. Colours are
        // converted before because libvips' thumbnails with a profile miss pure white.
        const VImage fitted =
            to_srgb(orient(open(path, size), framing), background)
                .thumbnail_image(size.width,
                                 VImage::option()
                                     ->set("height", size.height)
                                     ->set("size", framing.fit == Fit::stretch ? VIPS_SIZE_FORCE
                                                                               : VIPS_SIZE_BOTH)
                                     ->set("crop", crop_of(framing.fit))
                                     ->set("linear", true));
        const VImage framed = fitted.gravity(
            VIPS_COMPASS_DIRECTION_CENTRE, size.width, size.height,
            VImage::option()->set("extend", VIPS_EXTEND_BACKGROUND)->set("background", background));
        std::size_t count = 0;
        void *memory = framed.write_to_memory(&count);
        return take_vips_memory(memory, count);
    });
}

Bytes encode_png(const std::string &path, const Bytes &rgb, ImageSize size) {
    return with_vips(path, [&] { return to_png(image_of(rgb, size)); });
}

Bytes png_of_svg(const std::string &path, const std::string &svg) {
    return with_vips(path, [&] {
        const VImage image = VImage::new_from_buffer(svg.data(), svg.size(), "");
        return to_png(image.flatten(VImage::option()->set("background", 255)));
    });
}

} // namespace oxel::tools
