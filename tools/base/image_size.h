#ifndef OXEL_TOOLS_IMAGE_SIZE_H
#define OXEL_TOOLS_IMAGE_SIZE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace oxel::tools {

struct ImageSize {
    std::int32_t width;
    std::int32_t height;

    std::size_t pixels() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }

    /// Whether the library renders it.
    bool supported() const {
        return width > 0 && height > 0 && std::int64_t{width} * height <= INT32_MAX / 3;
    }

    std::string text() const { return std::to_string(width) + "x" + std::to_string(height); }
};

} // namespace oxel::tools

#endif
