#include "preparation/preparation.h"

namespace oxel::tools {

PreparedPicture prepare(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                        const ExactColours &exact, int preroll) {
    PreparedPicture picture{{}, {size.width, size.height + preroll}, preroll};
    picture.bytes.resize(3 * picture.size.pixels());
    const std::span<std::uint8_t> bytes = picture.bytes;
    dither_to_grid(light, size, grid, exact, bytes.last(3 * size.pixels()));
    mirror_above(bytes, size, preroll);
    return picture;
}

} // namespace oxel::tools
