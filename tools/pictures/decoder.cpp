#include "pictures/decoder.h"

#include "base/files.h"
#include "pictures/loaders.h"
#include "pictures/vips_session.h"
#include "preparation/light.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace oxel::tools {

using vips::VImage;
using vips::VOption;

namespace {

/// As EXIF numbers them.
int orientation_of(const VImage &image, Rotation rotation) {
    static constexpr int orientations[] = {0, 1, 6, 3, 8}; // of enum Rotation
    return rotation == Rotation::as_oriented ? vips_image_get_orientation(image.get_image())
                                             : orientations[static_cast<int>(rotation)];
}

bool swaps_sides(int orientation) {
    return orientation >= 5;
}

ImageSize upright(ImageSize size, int orientation) {
    return swaps_sides(orientation) ? ImageSize{size.height, size.width} : size;
}

ImageSize size_of(const VImage &image) {
    return {image.width(), image.height()};
}

struct Box {
    int left;
    int top;
    ImageSize size;
};

/// The part of an upright picture that is taken.
Box taken_part(const Framing &framing, ImageSize own) {
    if (!framing.crop)
        return {0, 0, own};
    const auto &[x, y, width, height] = *framing.crop;
    const auto edge = [](double place, int side) { // far outside, it is outside all the same
        return static_cast<int>(std::lround(std::clamp(place, -1.0, side + 1.0)));
    };
    const int left = edge(x.of(own.width), own.width);
    const int top = edge(y.of(own.height), own.height);
    const int right = edge(x.of(own.width) + width.of(own.width), own.width);
    const int bottom = edge(y.of(own.height) + height.of(own.height), own.height);
    if (left < 0 || top < 0 || right > own.width || bottom > own.height || right <= left ||
        bottom <= top)
        throw std::runtime_error("the crop is no part of the picture, which has " + own.text());
    return {left, top, {right - left, bottom - top}};
}

/// The same part of a drawing that is drawn at another size.
Box scaled(const Box &part, ImageSize from, ImageSize to) {
    const auto scale = [](int place, int side, int other) {
        return static_cast<int>(std::int64_t{place} * other / side);
    };
    const int left = scale(part.left, from.width, to.width);
    const int top = scale(part.top, from.height, to.height);
    const int right = scale(part.left + part.size.width, from.width, to.width);
    const int bottom = scale(part.top + part.size.height, from.height, to.height);
    return {left, top, {std::max(1, right - left), std::max(1, bottom - top)}};
}

/// Where in a resized picture the part of size `wanted` begins that is kept of one side.
int kept_from(int resized, int wanted, double centre) {
    const double start = std::floor(std::clamp(centre, 0.0, 1.0) * resized - wanted / 2.0);
    return std::clamp(static_cast<int>(start), 0, std::max(0, resized - wanted));
}

/// Where a part of the upright picture, of this size, is stored.
Box stored_box(Box part, ImageSize upright_size, int orientation) {
    static constexpr bool mirrored_x[] = {false, false, true, true, false,
                                          false, false, true, true};
    static constexpr bool mirrored_y[] = {false, false, false, true, true,
                                          false, true,  true,  false};
    ImageSize whole = upright_size;
    if (swaps_sides(orientation)) {
        std::swap(part.left, part.top);
        part.size = upright(part.size, orientation);
        whole = upright(whole, orientation);
    }
    if (mirrored_x[orientation])
        part.left = whole.width - part.left - part.size.width;
    if (mirrored_y[orientation])
        part.top = whole.height - part.top - part.size.height;
    return part;
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

/// Linear light in three channels, opaque. What has 16 bits a channel keeps them.
VImage to_light(VImage image, std::vector<double> background) {
    const bool deep = image.format() == VIPS_FORMAT_USHORT;
    if (has_profile(image) || image.interpretation() == VIPS_INTERPRETATION_CMYK)
        image = image.icc_transform(
            "srgb", VImage::option()->set("embedded", true)->set("depth", deep ? 16 : 8));
    image = image.copy(); // as libvips asks before its notes are changed
    image.remove(VIPS_META_ICC_NAME);
    image = image.colourspace(deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB);
    if (deep)
        for (double &channel : background)
            channel *= 257;
    if (image.has_alpha())
        image = image.flatten(VImage::option()->set("background", background));
    return image.colourspace(VIPS_INTERPRETATION_scRGB);
}

/// Light as whole numbers, as in light.h.
VImage to_numbers(const VImage &light) {
    return light.linear(65535, 0.5).cast(VIPS_FORMAT_USHORT);
}

/// How many times larger than the picture, upright, its two sides become.
std::pair<double, double> scales(ImageSize picture, ImageSize wanted, Fit fit) {
    const double across = double(wanted.width) / picture.width;
    const double down = double(wanted.height) / picture.height;
    if (fit == Fit::stretch)
        return {across, down};
    const double both = fit == Fit::contain ? std::min(across, down) : std::max(across, down);
    return {both, both};
}

/// Drawings are drawn at the size wanted, which is sharper than enlarging them, unless most of that
/// were cut off.
double drawing_scale(ImageSize drawing, ImageSize part, ImageSize wanted, Fit fit) {
    constexpr double most_pixels = 32e6;
    const auto [across, down] = scales(part, wanted, fit);
    return std::min(std::max(across, down), std::sqrt(most_pixels / double(drawing.pixels())));
}

/// The part of an upright picture that catches the eye most.
VImage most_interesting(const VImage &picture, ImageSize size) {
    return picture.copy_memory().smartcrop(
        std::min(size.width, picture.width()), std::min(size.height, picture.height()),
        VImage::option()->set("interesting", VIPS_INTERESTING_ATTENTION));
}

/// The rows of a part as they come in from a picture that is read once, from top to bottom.
struct PartRows {
    Box part;
    std::size_t row_bytes;
    std::span<std::uint8_t> bytes;

    static int take(VipsRegion *region, VipsRect *area, void *self) {
        auto &rows = *static_cast<PartRows *>(self);
        const int last = rows.part.top + rows.part.size.height;
        for (int y = std::max(area->top, rows.part.top);
             y < std::min(area->top + area->height, last); ++y)
            std::memcpy(&rows.bytes[static_cast<std::size_t>(y - rows.part.top) * rows.row_bytes],
                        VIPS_REGION_ADDR(region, rows.part.left, y), rows.row_bytes);
        return 0;
    }
};

/// Writes a part of it. The whole is read, so that a picture that is cut off is
/// noticed wherever it is.
void read_part(const VImage &picture, Box part, std::span<std::uint8_t> light) {
    PartRows rows{part, bytes_a_pixel * static_cast<std::size_t>(part.size.width), light};
    if (vips_sink_disc(picture.get_image(), PartRows::take, &rows) != 0)
        throw vips::VError();
}

VImage turn(const VImage &image, int orientation) {
    if (orientation <= 1)
        return image;
    VImage turned = image.copy_memory().copy();
    turned.set(VIPS_META_ORIENTATION, orientation);
    return turned.autorot();
}

/// A picture as `wanted`, on the background. `centre` is the place, in shares of its sides upright,
/// that should be kept in the middle.
void frame(const OpenPicture &picture, int orientation, const Decoding &wanted,
           std::pair<double, double> centre, std::span<std::uint8_t> light) {
    const Framing &framing = wanted.framing;
    const ImageSize size = wanted.size;
    const std::vector<double> background(framing.background.begin(), framing.background.end());
    std::vector<double> background_light;
    for (const std::uint8_t byte : framing.background)
        background_light.push_back(light_of_byte(byte));
    auto scale = scales(upright(size_of(picture.image), orientation), size, framing.fit);
    if (swaps_sides(orientation))
        std::swap(scale.first, scale.second);
    // Colours are converted first because libvips' conversions while it resizes miss pure white.
    VImage source = to_light(picture.image, background);
    const bool streamed = !picture.drawing && scale.second <= 1;
    if (!picture.drawing && !streamed)
        source = source.copy_memory(); // the whole, which is small beside what is made of it
    // In linear light, so that fine patterns keep their brightness.
    VImage image = source.resize(scale.first, VImage::option()->set("vscale", scale.second));
    const ImageSize resized = upright(size_of(image), orientation);
    Bytes rows;
    if (framing.fit == Fit::attention) {
        image = to_numbers(most_interesting(turn(image, orientation), size));
    } else {
        Box part{kept_from(resized.width, size.width, centre.first),
                 kept_from(resized.height, size.height, centre.second),
                 {}};
        part.size = {std::min(size.width, resized.width), std::min(size.height, resized.height)};
        part = stored_box(part, resized, orientation);
        image = to_numbers(image);
        if (streamed) {
            rows.resize(bytes_a_pixel * part.size.pixels());
            read_part(image, part, rows);
            image = VImage::new_from_memory(rows.data(), rows.size(), part.size.width,
                                            part.size.height, 3, VIPS_FORMAT_USHORT);
        } else { // what is cut off is not made in the first place
            image = image.extract_area(part.left, part.top, part.size.width, part.size.height);
        }
        image = turn(image, orientation);
    }
    const VImage framed = image.gravity(VIPS_COMPASS_DIRECTION_CENTRE, size.width, size.height,
                                        VImage::option()
                                            ->set("extend", VIPS_EXTEND_BACKGROUND)
                                            ->set("background", background_light));
    read_part(framed, {0, 0, size}, light);
}

ImageSize decode(int file, const Decoding &wanted, const PictureLimits &limits,
                 std::span<std::uint8_t> light) {
    OpenPicture picture = open_picture_file(file, wanted.document, 1, limits);
    const int orientation = orientation_of(picture.image, wanted.framing.rotation);
    const ImageSize own = upright(size_of(picture.image), orientation);
    Box part = taken_part(wanted.framing, own);
    if (wanted.size.pixels() == 0)
        return part.size;
    std::pair<double, double> centre{0.5, 0.5};
    if (const auto &focus = wanted.framing.focus)
        centre = {((*focus)[0].of(own.width) - part.left) / part.size.width,
                  ((*focus)[1].of(own.height) - part.top) / part.size.height};
    ImageSize whole = own;
    if (picture.drawing) {
        picture = open_picture_file(file, wanted.document,
                                    drawing_scale(own, part.size, wanted.size, wanted.framing.fit),
                                    limits);
        whole = upright(size_of(picture.image), orientation);
        part = scaled(part, own, whole);
    }
    if (wanted.framing.crop) {
        const Box stored = stored_box(part, whole, orientation);
        picture.image = picture.image.extract_area(stored.left, stored.top, stored.size.width,
                                                   stored.size.height);
    }
    frame(picture, orientation, wanted, centre, light);
    return wanted.size;
}

} // namespace

ImageSize decode_picture(int file, const Decoding &wanted, const PictureLimits &limits,
                         std::span<std::uint8_t> light) {
    static const bool prepared = [] {
        start_vips();
        block_other_loaders();
        return true;
    }();
    static_cast<void>(prepared);
    take_vips_messages();
    const unsigned losses = vips_losses();
    try {
        const ImageSize size = decode(file, wanted, limits, light);
        if (vips_losses() == losses)
            return size;
    } catch (const vips::VError &) { // told below
    }
    const std::string message = take_vips_messages();
    for (const char *word : {"out of memory", "nsufficient memory", "emory allocation", "malloc"})
        if (message.find(word) != message.npos)
            throw std::bad_alloc();
    throw std::runtime_error(message);
}

} // namespace oxel::tools
