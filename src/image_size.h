#ifndef OXEL_IMAGE_SIZE_H
#define OXEL_IMAGE_SIZE_H

#include <cstddef>
#include <cstdint>

namespace [[gnu::visibility("hidden")]] oxel {

struct ImageSize {
    std::int32_t width;
    std::int32_t height;

    constexpr bool empty() const { return width < 1 || height < 1; }

    /// An image's bytes are fewer than 2^31.
    constexpr bool supported() const {
        return empty() || std::int64_t{width} * height <= INT32_MAX / 3;
    }

    /// Of a supported size.
    constexpr std::size_t pixels() const {
        return empty() ? 0 : static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
};

} // namespace oxel

#endif
