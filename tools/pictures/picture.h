#ifndef OXEL_TOOLS_PICTURE_H
#define OXEL_TOOLS_PICTURE_H

#include "base/files.h"
#include "base/image_size.h"

#include <array>
#include <string>

namespace oxel::tools {

enum class Fit {
    cover,     // fills the size; what is too much is cut off at both sides alike
    contain,   // whole, centred on the background
    stretch,   // fills the size without regard to the aspect
    attention, // fills the size; what catches the eye least is cut off
};

/// Clockwise, of the stored pixels.
enum class Rotation { as_oriented, none, quarter, half, three_quarters };

/// How a picture is brought to a size.
struct Framing {
    Fit fit = Fit::cover;
    Rotation rotation = Rotation::as_oriented;
    std::array<std::uint8_t, 3> background = {255, 255, 255};
};

/// Whether files of this name in a folder are taken for pictures.
bool is_picture_name(const std::string &path);

/// The size of a picture when it is held upright.
ImageSize picture_size(const std::string &path, const Framing &framing);

/// A picture in any format that libvips reads, as 3 bytes a pixel in sRGB, upright, on the
/// background where it is transparent. Throws Failure also for files that end too early. Any number
/// of threads may load pictures.
Bytes load_picture(const std::string &path, ImageSize size, const Framing &framing);

/// `path` is where the PNG will go, for messages.
Bytes encode_png(const std::string &path, const Bytes &rgb, ImageSize size);

Bytes png_of_svg(const std::string &path, const std::string &svg);

} // namespace oxel::tools

#endif
