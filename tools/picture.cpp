#include "picture.h"

#include "failure.h"

#include <vips/vips8>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <string_view>

namespace oxel::tools {

using vips::VImage;
using vips::VOption;

namespace {

/// Set when libvips paints something black that it cannot decode, which it does not always report
/// as an error, but always logs. Workers of libvips set it.
std::atomic<bool> pixels_lost = false;

void on_warning(const char *, GLogLevelFlags, const char *message, void *) {
    if (std::string_view(message).starts_with("error in tile"))
        pixels_lost = true;
}

void start_vips() {
    struct Session {
        Session() {
            if (VIPS_INIT("oxel") != 0)
                throw vips::VError();
            g_log_set_handler("VIPS", G_LOG_LEVEL_WARNING, on_warning, nullptr);
        }
        ~Session() { vips_shutdown(); }
    };
    static const Session session;
}

/// The messages that libvips has collected, on one line.
std::string one_line(const std::string &messages) {
    std::string line;
    for (const char c : messages)
        if (c != '\n')
            line += c;
        else if (!line.empty())
            line += "; ";
    return line.substr(0, line.find_last_not_of("; ") + 1);
}

/// Calls `work`, with libvips running, and blames `path` for its errors.
template <class Work>
auto with_vips(const std::string &path, Work work) {
    try {
        start_vips();
        return work();
    } catch (const vips::VError &error) {
        vips_error_clear();
        throw Failure(path, one_line(error.what()));
    }
}

/// Takes over memory that libvips has allocated.
Bytes take(void *memory, std::size_t size) {
    const std::unique_ptr<void, decltype(&g_free)> owner(memory, g_free);
    const auto *bytes = static_cast<const std::uint8_t *>(memory);
    return {bytes, bytes + size};
}

VImage open(const std::string &path, VOption *options = nullptr) {
    if (!std::filesystem::exists(path))
        throw Failure(path, "no such file");
    // libvips takes brackets at the end of a name for options: these are none.
    return VImage::new_from_file((path + "[]").c_str(), options);
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
VImage to_srgb(VImage image) {
    if (image.get_typeof(VIPS_META_ICC_NAME) != 0 ||
        image.interpretation() == VIPS_INTERPRETATION_CMYK) {
        image = image.icc_transform("srgb", VImage::option()->set("embedded", true));
        image.remove(VIPS_META_ICC_NAME);
    }
    image = image.colourspace(VIPS_INTERPRETATION_sRGB);
    return image.has_alpha() ? image.flatten(VImage::option()->set("background", 255)) : image;
}

} // namespace

ImageSize picture_size(const std::string &path) {
    return with_vips(path, [&] {
        const VImage image = open(path).autorot();
        return ImageSize{image.width(), image.height()};
    });
}

Bytes load_picture(const std::string &path, ImageSize size, Fit fit) {
    return with_vips(path, [&] {
        // Resized in linear light, so that fine patterns keep their brightness. Colours are
        // converted before because libvips' thumbnails with a profile miss pure white.
        const VImage fitted =
            to_srgb(open(path, size))
                .thumbnail_image(
                    size.width,
                    VImage::option()
                        ->set("height", size.height)
                        ->set("size", fit == Fit::stretch ? VIPS_SIZE_FORCE : VIPS_SIZE_BOTH)
                        ->set("crop",
                              fit == Fit::cover ? VIPS_INTERESTING_CENTRE : VIPS_INTERESTING_NONE)
                        ->set("linear", true));
        const VImage framed = fitted.gravity(VIPS_COMPASS_DIRECTION_CENTRE, size.width, size.height,
                                             VImage::option()->set("extend", VIPS_EXTEND_WHITE));
        pixels_lost = false;
        std::size_t count = 0;
        void *memory = framed.write_to_memory(&count);
        Bytes pixels = take(memory, count);
        if (pixels_lost)
            throw vips::VError(); // with the messages collected
        return pixels;
    });
}

Bytes encode_png(const std::string &path, const Bytes &rgb, ImageSize size) {
    return with_vips(path, [&] {
        const VImage image =
            VImage::new_from_memory(const_cast<std::uint8_t *>(rgb.data()), rgb.size(), size.width,
                                    size.height, 3, VIPS_FORMAT_UCHAR)
                .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
        void *memory = nullptr;
        std::size_t count = 0;
        image.write_to_buffer(".png", &memory, &count);
        return take(memory, count);
    });
}

} // namespace oxel::tools
