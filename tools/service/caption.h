#ifndef OXEL_TOOLS_CAPTION_H
#define OXEL_TOOLS_CAPTION_H

#include "base/image_size.h"
#include "pictures/framing.h"
#include "preparation/light.h"

#include <string>

namespace oxel::tools {

/// The rows that a caption takes below a picture, of a frame of this size.
int caption_rows(ImageSize frame);

/// Black on white, without smoothing, so that each of its pixels becomes an ink: rows of `width`
/// pixels. What is too long is cut off.
Light draw_caption(const std::string &text, int width, int rows, const PictureLimits &limits);

} // namespace oxel::tools

#endif
