#ifndef OXEL_TOOLS_FILE_SIZE_H
#define OXEL_TOOLS_FILE_SIZE_H

#include "base/image_size.h"

#include <stdexcept>

namespace oxel::tools {

/// Makes the size that a frame's file tells the frame's, or throws if it should have another.
inline void settle_size(ImageSize told, ImageSize &size) {
    if (!told.supported())
        throw std::runtime_error("tells a size of " + told.text() + ", which no frame has");
    if (size.pixels() != 0 && (size.width != told.width || size.height != told.height))
        throw std::runtime_error("holds a frame of " + told.text() + " instead of " + size.text());
    size = told;
}

} // namespace oxel::tools

#endif
