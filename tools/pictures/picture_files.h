#ifndef OXEL_TOOLS_PICTURE_FILES_H
#define OXEL_TOOLS_PICTURE_FILES_H

#include "base/files.h"
#include "base/image_size.h"

#include <string>

namespace oxel::tools {

// Pictures that go out, of 3 bytes a pixel. `path` is where one will go, for messages.

/// With a palette where there are at most 256 colours.
Bytes encode_png(const std::string &path, const Bytes &rgb, ImageSize size);

Bytes encode_jpeg(const std::string &path, const Bytes &rgb, ImageSize size);

/// Of a drawing of our own, in its own size.
Bytes png_of_svg(const std::string &path, const std::string &svg);

} // namespace oxel::tools

#endif
