#include "destination.h"

#include "forms/forms.h"

#include <cstddef>
#include <cstring>

namespace [[gnu::visibility("hidden")]] oxel {

void deliver(const Destination &destination, std::int32_t row, std::int32_t column,
             const std::uint8_t *indices, std::int32_t count) {
    const std::ptrdiff_t start = std::ptrdiff_t{row} * destination.width + column;
    const auto pixels = static_cast<std::size_t>(count);
    if (destination.plane)
        std::memcpy(destination.plane + start, indices, pixels);
    for (int i = 0; i < destination.image_count; ++i) {
        const ColouredImage &image = destination.images[i];
        chosen_form().write_pixels(indices, pixels, image.colours, image.pixels + 3 * start);
    }
}

} // namespace oxel
