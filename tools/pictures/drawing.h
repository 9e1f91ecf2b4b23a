#ifndef OXEL_TOOLS_DRAWING_H
#define OXEL_TOOLS_DRAWING_H

#include "base/files.h"
#include "base/image_size.h"

#include <string>
#include <string_view>

namespace oxel::tools {

/// Draws an SVG of our own on white, 3 bytes a pixel, and fills the size; without one, in its own,
/// which `size` receives. `name` is for messages.
Bytes draw_svg(const std::string &name, std::string_view svg, ImageSize &size);

} // namespace oxel::tools

#endif
