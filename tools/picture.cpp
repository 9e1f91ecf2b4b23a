#include "picture.h"

#include "failure.h"
#include "vips_session.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>

namespace oxel::tools {

using vips::VImage;
using vips::VOption;

namespace {

void expect_file(const std::string &path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        throw Failure(path, error ? error.message() : "no such file");
}

VImage open(const std::string &path, VOption *options = nullptr) {
    // libvips takes brackets at the end of a name for options: these are none.
    return VImage::new_from_file((path + "[]").c_str(), options);
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

/// Three bytes a pixel, opaque.
VImage to_srgb(VImage image, const std::vector<double> &background) {
    if (image.get_typeof(VIPS_META_ICC_NAME) != 0 ||
        image.interpretation() == VIPS_INTERPRETATION_CMYK) {
        image = image.icc_transform("srgb", VImage::option()->set("embedded", true));
        image.remove(VIPS_META_ICC_NAME);
    }
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
