#ifndef OXEL_TOOLS_LIBRARY_H
#define OXEL_TOOLS_LIBRARY_H

#include "files.h"
#include "image_size.h"

#include <string>

namespace oxel::tools {

// The rendering library with exceptions: statuses become Failures that blame `panel`.

/// The library's version line.
std::string library_version();

/// Adopts a package, which must outlive all renders.
void adopt_package(const std::string &panel, const Bytes &package);

/// The three forms of a rendered picture, 3 bytes a pixel.
struct Rendering {
    Bytes tcon;
    Bytes nominal; // filled only for panels of six colours
    Bytes measured;
};

Rendering render(const std::string &panel, const Bytes &rgb, ImageSize size, int dithering_mode);

/// Rearranges an image for the panel's driving layout (enum Oxel_tft_mode, or 0 for none). The size
/// becomes that of the frame. A layout that would drop an odd row or column is a Failure.
void apply_layout(const std::string &panel, int layout, Bytes &image, ImageSize &size);

} // namespace oxel::tools

#endif
