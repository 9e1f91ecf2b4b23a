#ifndef OXEL_TOOLS_PICTURE_H
#define OXEL_TOOLS_PICTURE_H

#include "files.h"
#include "image_size.h"

#include <string>

namespace oxel::tools {

enum class Fit {
    cover,   // fills the size; what is too much is cut off at both sides alike
    contain, // whole, centred on white
    stretch, // fills the size without regard to the aspect
};

/// The size of a picture when it is held upright.
ImageSize picture_size(const std::string &path);

/// A picture in any format that libvips reads, as 3 bytes a pixel in sRGB, upright, on white where
/// it is transparent. Throws Failure also for files that end too early.
Bytes load_picture(const std::string &path, ImageSize size, Fit fit);

/// `path` is where the PNG will go, for messages.
Bytes encode_png(const std::string &path, const Bytes &rgb, ImageSize size);

} // namespace oxel::tools

#endif
