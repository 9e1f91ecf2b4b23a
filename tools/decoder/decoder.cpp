#include "decoder/decoder.h"

#include "base/files.h"
#include "decoder/loaders.h"
#include "decoder/vips_session.h"
#include "pictures/picture_threads.h"
#include "preparation/light.h"
#include "preparation/reduction.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
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

/// The profile that comes with a picture, if it is one for its kind of colours: grey pictures are
/// found with one for RGB, and L*a*b* needs none.
std::string_view profile_of(const VImage &image) {
    if (image.get_typeof(VIPS_META_ICC_NAME) == 0)
        return {};
    std::size_t size = 0;
    const auto *bytes = static_cast<const char *>(image.get_blob(VIPS_META_ICC_NAME, &size));
    const std::string_view profile(bytes, size);
    switch (image.interpretation()) {
    case VIPS_INTERPRETATION_B_W:
    case VIPS_INTERPRETATION_GREY16:
        return size >= 20 && profile.substr(16, 4) == "GRAY" ? profile : std::string_view();
    case VIPS_INTERPRETATION_LAB:
    case VIPS_INTERPRETATION_LABS:
        return {};
    default:
        return profile;
    }
}

/// A smaller version of a picture, which may have been stored without the profile of the whole.
VImage with_profile_of(const VImage &whole, const VImage &smaller) {
    if (whole.get_typeof(VIPS_META_ICC_NAME) == 0 || smaller.get_typeof(VIPS_META_ICC_NAME) != 0)
        return smaller;
    std::size_t size = 0;
    const void *const profile = whole.get_blob(VIPS_META_ICC_NAME, &size);
    const VImage image = smaller.copy();
    vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, profile, size);
    return image;
}

VImage through_profile(const VImage &image, int depth) {
    return image.icc_transform("srgb",
                               VImage::option()->set("embedded", true)->set("depth", depth));
}

/// Whether the profile moves none of 729 colours of sRGB by more than a byte's step.
bool is_srgb(std::string_view profile) {
    static std::pair<std::string, bool> known; // most pictures come with the one of those before
    if (known.first == profile)
        return known.second;
    known = {std::string(profile), false};
    if (profile.substr(16, 4) != "RGB ")
        return false;
    std::vector<std::uint8_t> colours;
    for (int i = 0; i < 729; ++i)
        for (const int part : {i / 81, i / 9 % 9, i % 9})
            colours.push_back(static_cast<std::uint8_t>(part * 255 / 8));
    VImage image = image_of(colours, {729, 1}).copy();
    image.set(VIPS_META_ICC_NAME, nullptr, const_cast<char *>(profile.data()), profile.size());
    known.second = (through_profile(image, 8) - image_of(colours, {729, 1})).abs().max() <= 1;
    return known.second;
}

/// sRGB in three channels, opaque. What has 16 bits a channel keeps them.
VImage to_srgb(VImage image, std::vector<double> background) {
    const bool deep = image.format() == VIPS_FORMAT_USHORT;
    const std::string_view profile = profile_of(image);
    if (image.interpretation() == VIPS_INTERPRETATION_CMYK ||
        (!profile.empty() && (deep || !is_srgb(profile))))
        image = through_profile(image, deep ? 16 : 8);
    image = image.copy(); // as libvips asks before its notes are changed
    image.remove(VIPS_META_ICC_NAME);
    image = image.colourspace(deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB);
    if (deep)
        for (double &channel : background)
            channel *= 257;
    if (image.has_alpha())
        image = image.flatten(VImage::option()->set("background", background));
    return image.extract_band(0, VImage::option()->set("n", 3))
        .cast(deep ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
}

/// Linear light as libvips has it, from 0 to 1.
VImage to_light(const VImage &srgb) {
    return srgb.colourspace(VIPS_INTERPRETATION_scRGB);
}

/// Light as whole numbers, as in light.h.
VImage to_numbers(const VImage &light) {
    return light.linear(65535, 0.5).cast(VIPS_FORMAT_USHORT);
}

VImage image_of_light(std::span<std::uint16_t> light, ImageSize size) {
    return VImage::new_from_memory(light.data(), light.size_bytes(), size.width, size.height, 3,
                                   VIPS_FORMAT_USHORT);
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
/// were cut off, or nothing were left of a narrow one.
double drawing_scale(ImageSize drawing, ImageSize part, ImageSize wanted, Fit fit) {
    constexpr double most_pixels = 32e6;
    const auto [across, down] = scales(part, wanted, fit);
    const double scale =
        std::min(std::max(across, down), std::sqrt(most_pixels / double(drawing.pixels())));
    return std::max(scale, 1.0 / std::min(drawing.width, drawing.height));
}

/// How often the decoder may halve a picture's sides. It reduces bytes, not light: where two pixels
/// a side are left for one of the result, the eye does not see which of them it was. Decoders leave
/// out pixels that fill no block, which counts in a narrow picture, and of the narrowest is all.
int spare_halvings(ImageSize part, ImageSize wanted, Fit fit) {
    constexpr int narrow = 32;
    const auto [across, down] = scales(part, wanted, fit);
    int halvings = 0;
    for (double left = 1 / std::max(across, down);
         left >= 4 && std::min(part.width, part.height) >> (halvings + 1) >= narrow; left /= 2)
        ++halvings;
    return halvings;
}

/// The part of an upright picture's light that catches the eye most.
VImage most_interesting(const VImage &picture, ImageSize size) {
    return to_numbers(
        picture.linear(1.0 / 65535, 0)
            .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_scRGB))
            .copy_memory()
            .smartcrop(std::min(size.width, picture.width()),
                       std::min(size.height, picture.height()),
                       VImage::option()->set("interesting", VIPS_INTERESTING_ATTENTION)));
}

/// Hands the rows of a picture to `take`, a function of their number and their bytes, from top to
/// bottom. All are read, so that a picture that is cut off is noticed wherever it is.
template <class Take>
void for_each_row(const VImage &picture, Take take) {
    const auto take_rows = [](VipsRegion *region, VipsRect *area, void *taker) {
        for (int y = area->top; y < area->top + area->height; ++y)
            (*static_cast<Take *>(taker))(y, VIPS_REGION_ADDR(region, 0, y));
        return 0;
    };
    if (picture_threads() > 1) {
        if (vips_sink_disc(picture.get_image(), take_rows, &take) != 0)
            throw vips::VError();
        return;
    }
    // Without a second thread, which would only take turns with this one.
    constexpr int rows = 16; // at once, two of a JPEG's rows of blocks
    const std::unique_ptr<VipsRegion, decltype(&g_object_unref)> region(
        vips_region_new(picture.get_image()), g_object_unref);
    for (int top = 0; top < picture.height(); top += rows) {
        VipsRect area = {0, top, picture.width(), std::min(rows, picture.height() - top)};
        if (vips_region_prepare(region.get(), &area) != 0)
            throw vips::VError();
        take_rows(region.get(), &area, &take);
    }
}

/// In linear light, so that fine patterns keep their brightness.
void reduce(const VImage &srgb, Reduction &reduction) {
    const std::size_t samples = 3 * static_cast<std::size_t>(srgb.width());
    if (srgb.format() == VIPS_FORMAT_USHORT) {
        Light row(samples);
        for_each_row(to_numbers(to_light(srgb)), [&](int, const std::uint8_t *bytes) {
            std::memcpy(row.data(), bytes, sizeof row[0] * row.size());
            reduction.add(row);
        });
    } else
        for_each_row(srgb, [&](int, const std::uint8_t *bytes) {
            reduction.add(std::span(bytes, samples));
        });
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
    const ImageSize own = upright(size_of(picture.image), orientation);
    auto scale = scales(own, size, framing.fit);
    if (swaps_sides(orientation))
        std::swap(scale.first, scale.second);
    // Looked for among 32 pixels a side: in a narrower picture the part is less than one of them.
    const bool sought = framing.fit == Fit::attention &&
                        std::int64_t{own.width} * size.height <= 32LL * own.height * size.width &&
                        std::int64_t{own.height} * size.width <= 32LL * own.width * size.height;
    const auto kept_part = [&](ImageSize stored) {
        if (sought)
            return Box{0, 0, stored};
        const ImageSize resized = upright(stored, orientation);
        const ImageSize kept = {std::min(size.width, resized.width),
                                std::min(size.height, resized.height)};
        return stored_box({kept_from(resized.width, size.width, centre.first),
                           kept_from(resized.height, size.height, centre.second), kept},
                          resized, orientation);
    };
    const VImage source = to_srgb(picture.image, background);
    Light rows;
    VImage image;
    if (!picture.drawing && scale.first <= 1 && scale.second <= 1) {
        const ReducedSide across(source.width(), scale.first, picture.shift);
        const ReducedSide down(source.height(), scale.second, picture.shift);
        const Box part = kept_part({across.to, down.to});
        rows.resize(3 * part.size.pixels());
        Reduction reduction(across, down, part.left, part.top, part.size, rows);
        reduce(source, reduction);
        image = image_of_light(rows, part.size);
    } else {
        // What is cut off is not made in the first place, of a source that is small beside it.
        image = to_light(source);
        if (!picture.drawing)
            image = image.copy_memory();
        const double across = std::max(scale.first, 1.0 / image.width());
        const double down = std::max(scale.second, 1.0 / image.height());
        image = to_numbers(image.resize(across, VImage::option()->set("vscale", down)));
        const Box part = kept_part(size_of(image));
        image = image.extract_area(part.left, part.top, part.size.width, part.size.height);
    }
    image = turn(image, orientation);
    if (sought)
        image = most_interesting(image, size);
    const VImage framed = image.gravity(VIPS_COMPASS_DIRECTION_CENTRE, size.width, size.height,
                                        VImage::option()
                                            ->set("extend", VIPS_EXTEND_BACKGROUND)
                                            ->set("background", background_light));
    const std::size_t row_bytes = bytes_a_pixel * static_cast<std::size_t>(size.width);
    for_each_row(framed, [&](int y, const std::uint8_t *bytes) {
        std::memcpy(&light[static_cast<std::size_t>(y) * row_bytes], bytes, row_bytes);
    });
}

/// The day on which a photograph was taken.
std::array<char, 11> day_of(const VImage &image) {
    constexpr std::string_view pattern = "dddd:dd:dd";
    std::array<char, 11> day{};
    for (const char *const field : {"exif-ifd2-DateTimeOriginal", "exif-ifd0-DateTime"}) {
        if (image.get_typeof(field) == 0)
            continue;
        const std::string text = image.get_string(field);
        const bool right =
            text.size() >= pattern.size() &&
            std::equal(pattern.begin(), pattern.end(), text.begin(), [](char wanted, char c) {
                return wanted == 'd' ? c >= '0' && c <= '9' : c == wanted;
            });
        if (!right)
            continue;
        std::replace_copy(text.begin(), text.begin() + pattern.size(), day.begin(), ':', '-');
        break;
    }
    return day;
}

PictureFacts decode(int file, const Decoding &wanted, const PictureLimits &limits,
                    std::span<std::uint8_t> light) {
    OpenPicture picture = open_picture_file(file, wanted.document, {}, limits);
    const int orientation = orientation_of(picture.image, wanted.framing.rotation);
    const ImageSize own = upright(size_of(picture.image), orientation);
    Box part = taken_part(wanted.framing, own);
    const std::array<char, 11> day = day_of(picture.image);
    if (wanted.size.pixels() == 0)
        return {part.size, day};
    std::pair<double, double> centre{0.5, 0.5};
    if (const auto &focus = wanted.framing.focus)
        centre = {((*focus)[0].of(own.width) - part.left) / part.size.width,
                  ((*focus)[1].of(own.height) - part.top) / part.size.height};
    ImageSize whole = own;
    Opening opening;
    if (picture.drawing)
        opening = {drawing_scale(own, part.size, wanted.size, wanted.framing.fit), 0,
                   wanted.framing.smooth_text};
    else
        opening.halvings = std::min(picture.most_halvings,
                                    spare_halvings(part.size, wanted.size, wanted.framing.fit));
    if (picture.drawing || opening.halvings > 0) {
        const VImage first = picture.image;
        picture = open_picture_file(file, wanted.document, opening, limits);
        picture.image = with_profile_of(first, picture.image);
        whole = upright(size_of(picture.image), orientation);
        part = scaled(part, own, whole);
    }
    if (wanted.framing.crop) {
        const Box stored = stored_box(part, whole, orientation);
        picture.image = picture.image.extract_area(stored.left, stored.top, stored.size.width,
                                                   stored.size.height);
    }
    frame(picture, orientation, wanted, centre, light);
    return {wanted.size, day};
}

} // namespace

PictureFacts decode_picture(int file, const Decoding &wanted, const PictureLimits &limits,
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
        const PictureFacts facts = decode(file, wanted, limits, light);
        if (vips_losses() == losses)
            return facts;
    } catch (const vips::VError &) { // told below
    }
    const std::string message = take_vips_messages();
    for (const char *word : {"out of memory", "nsufficient memory", "emory allocation", "malloc"})
        if (message.find(word) != message.npos)
            throw std::bad_alloc();
    throw std::runtime_error(message);
}

} // namespace oxel::tools
